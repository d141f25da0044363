// The framework's single timer thread, started with the first timer.
#pragma once

#include <mutex>
#include <optional>

#include "framework/core/asio_parts.h"
#include "framework/core/joined_threads.h"

namespace CORE {

class TimerThread {
  public:
    // Never destroyed: modules may still stop their timers during process exit.
    static TimerThread& System();

    asio::io_context& context() noexcept { return context_; }
    void ensureRunning();  // throws coreException when no thread can be started

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
