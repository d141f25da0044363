// The elastic pool that requests run on: it grows when no thread is idle, because a request may block for
// minutes, and threads that stay idle end.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

#include "framework/core/joined_threads.h"

namespace CORE {

class ThreadPool {
  public:
    using Task = std::function<void()>;  // must not throw

    ThreadPool() = default;
    ~ThreadPool() { stop(); }
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    // False when the pool stops, or has no thread and can get none; the task is gone then.
    [[nodiscard]] bool submit(Task task);
    // Runs what was submitted, then ends and joins the threads. A later submit starts anew.
    void stop();
    int threads() const;
    void setIdleLimit(std::chrono::milliseconds limit);

  private:
    void work();
    bool waitForTask(std::unique_lock<std::mutex>& lock);

    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Task> queue_;
    std::chrono::milliseconds idleLimit_{30'000};
    std::size_t alive_ = 0;
    std::size_t free_ = 0;  // of those alive: idle, or just starting
    bool stopping_ = false;
    JoinedThreads threads_;
};

}  // namespace CORE
