// Messages that run on a pool thread, so that their sender waits with a timeout or not at all.
#pragma once

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

    // The message's number; 0 when no thread could be started, and then the callback is not called.
    std::uint64_t send(std::wstring_view worker, std::wstring_view operation, PropertyBag request,
                       ResponseCallback callback, const SendOptions& options);
    bool cancel(std::uint64_t number);

  private:
    struct Message;
    void startTimer(const std::shared_ptr<Message>& message);
    void run(std::uint64_t number, Message& message);
    RespType attempt(Message& message, PropertyBag& response);
    void expire(Message& message);
    void abort(Message& message);

    WorkerRegistry& workers_;
    ThreadPool& pool_;
    std::mutex mutex_;
    std::unordered_map<std::uint64_t, std::shared_ptr<Message>> messages_;
    std::uint64_t lastNumber_ = 0;
};

}  // namespace CORE
