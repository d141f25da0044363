// A one-shot timer: derive, override OnTimer, and start it again from there for periodic work. Callbacks run on the
// framework's one timer thread and must not block; a throwing callback is logged.
#pragma once

#include <memory>

#include "framework/core/coreref.h"
#include "framework/core/export.h"

namespace CORE {

class MFWCORE_API coretimer : public coreref {
  public:
    coretimer();
    // A derived class calls StopTimerWithWait in its own destructor; by then no callback may still find it.
    ~coretimer() override;
    void StartTimer(unsigned milliseconds);  // starts anew when it already runs
    void StopTimer();                        // a callback that already runs goes on
    void StopTimerWithWait();                // ... is waited for, unless called from that very callback

  protected:
    virtual void OnTimer() = 0;

  private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace CORE
