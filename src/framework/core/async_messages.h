// Asynchronous messages: accepted, waiting for a thread of the pool, running, answered.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "framework/core/message.h"
#include "framework/core/thread_pool.h"
#include "framework/core/worker_registry.h"

namespace CORE {

class AsyncMessages {
  public:
    AsyncMessages(WorkerRegistry& workers, ThreadPool& pool) : workers_(workers), pool_(pool) {}

    // The message's number; 0 when no messages are taken, and then no callback comes.
    std::uint64_t send(std::wstring_view worker, std::wstring_view operation, PropertyBag request,
                       ResponseCallback callback, const SendOptions& options);
    bool cancel(std::uint64_t number);
    int pending() const;
    void drain();
    void close();  // takes no more, aborts what has not begun, waits for the rest
    void open();

  private:
    struct Message;
    void run(std::uint64_t number, Message& message);
    RespType attempt(Message& message, PropertyBag& response);

    WorkerRegistry& workers_;
    ThreadPool& pool_;
    mutable std::mutex mutex_;
    std::condition_variable gone_;
    std::unordered_map<std::uint64_t, std::shared_ptr<Message>> messages_;
    std::uint64_t lastNumber_ = 0;
    bool closed_ = false;
};

}  // namespace CORE
