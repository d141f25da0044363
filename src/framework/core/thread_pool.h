// The elastic thread pool that requests run on: it grows when no thread is idle, because a request may block
// for minutes, and a thread that has been idle for 30 seconds ends.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

#include "framework/core/joined_threads.h"

namespace CORE {

// Lives as long as the process.
class ThreadPool {
  public:
    using Task = std::function<void()>;  // must not throw

    // False, with the task dropped, when the pool has no thread and none can be started.
    [[nodiscard]] bool submit(Task task);

  private:
    void work();

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Task> queue_;
    std::size_t alive_ = 0;
    std::size_t free_ = 0;  // of those alive: idle, or just starting
    JoinedThreads threads_;
};

}  // namespace CORE
