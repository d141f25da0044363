// Threads that run an asio context as long as the object lives.
#pragma once

#include <exception>
#include <thread>
#include <vector>

#include "channel/asio_parts.h"
#include "framework/core/corestring.h"
#include "framework/core/log.h"

namespace channel {

class ContextThreads {
  public:
    explicit ContextThreads(std::size_t count) : work_(asio::make_work_guard(context_)) {
        for (std::size_t i = 0; i < count; ++i) threads_.emplace_back([this] { run(); });
    }
    ~ContextThreads() { join(); }
    ContextThreads(const ContextThreads&) = delete;
    ContextThreads& operator=(const ContextThreads&) = delete;

    asio::io_context& context() noexcept { return context_; }
    asio::strand<asio::io_context::executor_type> strand() { return asio::make_strand(context_); }
    // Returns when nothing waits any more: all sockets and timers have to be closed by then.
    void join() {
        work_.reset();
        for (std::thread& thread : threads_) thread.join();
        threads_.clear();
    }

  private:
    // An exception (there is no memory, say) ends the callback that threw it. Its connection falls silent and
    // is closed for that.
    void run() {
        while (true) {
            try {
                context_.run();
                return;
            } catch (const std::exception& error) {
                CORE::__SysMessage(CORE::logError, L"mfwcore", L"A channel's callback failed: %s",
                                   CORE::toWide(error.what()));
            }
        }
    }

    asio::io_context context_;
    asio::executor_work_guard<asio::io_context::executor_type> work_;
    std::vector<std::thread> threads_;
};

}  // namespace channel
