// The computer's names as the framework reads them, the same on every real machine.
#pragma once

#include <memory>

#include "platform/local_machine.h"

namespace wsadmin::platform {

std::shared_ptr<ComputerNames> makeComputerNames();

}  // namespace wsadmin::platform
