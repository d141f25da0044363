// The clock of the standard library, the same on every real machine.
#pragma once

#include <memory>

#include "platform/clock.h"

namespace wsadmin::platform {

std::shared_ptr<Clock> makeSystemClock();

}  // namespace wsadmin::platform
