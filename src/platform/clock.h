// The port to time. Nothing else in the system reads a clock or sleeps.
#pragma once

#include <chrono>

#include "framework/core/corelock.h"

namespace wsadmin::platform {

class Clock {
  public:
    virtual ~Clock() = default;
    virtual std::chrono::system_clock::time_point now() const = 0;        // the date
    virtual std::chrono::steady_clock::time_point monotonic() const = 0;  // for intervals
    // The same moment in the local time of this machine.
    virtual std::chrono::local_seconds local(std::chrono::sys_seconds time) const = 0;
    // Waits for `time` or until the event is set; true when it was set. The event may be null.
    virtual bool wait(std::chrono::milliseconds time, const CORE::coreevent* stop) = 0;
};

}  // namespace wsadmin::platform
