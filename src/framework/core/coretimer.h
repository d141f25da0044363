// A one-shot timer: derive, override OnTimer, and start it again from there for periodic work. Callbacks run
// on the framework's one timer thread and must not block; a throwing callback is logged.
#pragma once

#include <memory>

#include "framework/core/coreref.h"
#include "framework/core/export.h"

namespace CORE {

class ThreadGroup;

// While a callback runs the timer holds a reference to the object, so it may be released meanwhile, also by
// the callback; an object whose last reference has gone gets no callback any more. Any thread may call.
class MFWCORE_API coretimer : public coreref {
  public:
    // `owner` counts the timer thread while it runs the callback, as a module does whose code that is.
    explicit coretimer(ThreadGroup* owner = nullptr);
    // A derived class whose objects are not destroyed by their last Release calls StopTimerWithWait in its
    // destructor.
    ~coretimer() override;  // NOLINT(bugprone-exception-escape)
    // Starts anew when it already runs. Throws coreException when there is no timer thread to be had.
    void StartTimer(unsigned milliseconds);
    // A callback that already runs goes on, but does not start the timer again.
    void StopTimer();
    void StopTimerWithWait();  // waits for such a callback, unless called from that very callback

  protected:
    virtual void OnTimer() = 0;

  private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace CORE
