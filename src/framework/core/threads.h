// Threads that a module starts, and framework threads that run its code, counted, so that its exit can wait
// for all.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "framework/core/export.h"

namespace CORE {

// The count is kept apart from the object, in the framework's own memory: who is counted out last touches
// nothing of the module, which may be unloaded at that very moment.
class MFWCORE_API ThreadGroup {
  public:
    explicit ThreadGroup(std::wstring_view module);  // the source name of log lines about its threads
    ~ThreadGroup();                                  // waits for all, unless abandoned
    ThreadGroup(const ThreadGroup&) = delete;
    ThreadGroup& operator=(const ThreadGroup&) = delete;

    void nameModule(std::wstring_view module);
    // Runs the function on a new thread of that name. False when no thread could be started. What the
    // function throws is logged at the error level. The function object is destroyed before the thread counts
    // as gone.
    [[nodiscard]] bool start(const std::wstring& name, std::function<void()> function);
    // Without time limit; afterwards the threads started here are joined and nobody visits. Not from a thread
    // that is itself counted here.
    void waitForAll();
    // For the end of the process or an unload without notice, when waiting could be for ever: the destructor
    // waits for nobody, and threads that still run keep the count alive among themselves. No other call may
    // follow.
    void abandon() noexcept;

  private:
    struct State;

  public:
    // Counts the caller's own thread for a scope, or for as long as the object is kept; a copy counts again.
    class MFWCORE_API Visit {
      public:
        explicit Visit(ThreadGroup* group = nullptr);  // null counts nowhere
        Visit(const Visit& other);
        Visit(Visit&& other) noexcept;
        Visit& operator=(Visit other) noexcept;
        ~Visit();

      private:
        std::shared_ptr<State> state_;
    };

  private:
    std::shared_ptr<State> state_;
};

}  // namespace CORE
