// Counts the threads that run a module's code, its own and the framework's, so that PluginExit can wait until
// the module may be unloaded.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "framework/core/export.h"

namespace CORE {

// The counter is allocated by mfwcore, apart from this object: a thread that has decremented it touches
// nothing of the module any more, because the module may be unloaded at that moment.
class MFWCORE_API ThreadGroup {
  public:
    explicit ThreadGroup(std::wstring_view module);  // the source name of log lines about its threads
    ~ThreadGroup();                                  // waits for all, unless abandoned
    ThreadGroup(const ThreadGroup&) = delete;
    ThreadGroup& operator=(const ThreadGroup&) = delete;

    void nameModule(std::wstring_view module);
    // Runs the function on a new thread of that name. False when no thread could be started. An exception is
    // logged at the error level. The function object is destroyed before the counter is decremented.
    [[nodiscard]] bool start(const std::wstring& name, std::function<void()> function);
    // Waits without a timeout until the counter is 0, and joins the threads started here. A deadlock when
    // called from a thread that is counted here.
    void waitForAll();
    // For process exit, or an unload without PluginExit, where waiting could be a deadlock: the destructor
    // does not wait, and running threads keep the counter alive. No other call may follow.
    void abandon() noexcept;

  private:
    struct State;

  public:
    // Counts the calling thread for as long as this object exists; each copy counts once more.
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
