// Threads that a module starts, counted, so that its exit can wait for all of them.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>

#include "framework/core/export.h"

namespace CORE {

class MFWCORE_API ThreadGroup {
  public:
    explicit ThreadGroup(std::wstring module);
    ~ThreadGroup();  // waits for all
    ThreadGroup(const ThreadGroup&) = delete;
    ThreadGroup& operator=(const ThreadGroup&) = delete;

    // Runs the function on a new thread of that name. False when no thread could be started. What the function throws
    // is logged at the error level.
    [[nodiscard]] bool start(std::wstring name, std::function<void()> function);
    void waitForAll();  // without time limit
    int running() const;

    // Counts the caller's own thread for a scope: a framework thread that runs the module's code.
    class MFWCORE_API Visit {
      public:
        explicit Visit(ThreadGroup* group);
        ~Visit();
        Visit(const Visit&) = delete;
        Visit& operator=(const Visit&) = delete;

      private:
        ThreadGroup* group_;
    };

  private:
    void enter();
    void leave();

    std::wstring module_;
    mutable std::mutex mutex_;
    std::condition_variable gone_;
    int running_ = 0;
};

}  // namespace CORE
