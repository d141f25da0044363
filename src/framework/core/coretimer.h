// A one-shot timer: derive, override OnTimer, and start it again from there for periodic work. Callbacks run
// on the framework's single timer thread and must not block; an exception in a callback is logged.
#pragma once

#include <memory>

#include "framework/core/coreref.h"
#include "framework/core/export.h"

namespace CORE {

class ThreadGroup;

// The framework holds a reference to the timer while its callback runs, so the timer may be released
// meanwhile, even by the callback. After the last Release no callback begins. Thread safe.
class MFWCORE_API coretimer : public coreref {
  public:
    // `owner` counts the timer thread while the callback runs, so that the callback's module stays loaded.
    explicit coretimer(ThreadGroup* owner = nullptr);
    // A derived class whose objects are not deleted by Release must call StopTimerWithWait in its destructor:
    // a callback could otherwise use a partly destroyed object.
    ~coretimer() override;  // NOLINT(bugprone-exception-escape)
    // Restarts a running timer. Throws coreException when the timer thread cannot be started.
    void StartTimer(unsigned milliseconds);
    // A running callback continues, but when it restarts the timer that is ignored.
    void StopTimer();
    void StopTimerWithWait();  // also waits for a running callback, unless called from it

  protected:
    virtual void OnTimer() = 0;

  private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace CORE
