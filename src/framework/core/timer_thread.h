// The framework's one timer thread. It starts with the first timer.
#pragma once

#include <mutex>
#include <optional>

#include "framework/core/asio_parts.h"
#include "framework/core/joined_threads.h"

namespace CORE {

class TimerThread {
  public:
    // Lives as long as the process: timers of modules may be stopped while it ends.
    static TimerThread& System();

    asio::io_context& context() noexcept { return context_; }
    void ensureRunning();  // throws coreException when no thread can be had
  private:
    TimerThread() = default;
    ~TimerThread() = default;

    std::mutex mutex_;
    bool running_ = false;
    asio::io_context context_{1};
    std::optional<asio::executor_work_guard<asio::io_context::executor_type>> work_;
    JoinedThreads thread_;
};

}  // namespace CORE
