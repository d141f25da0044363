// Failures of system calls.
#pragma once

#include <cerrno>
#include <system_error>

#include "framework/core/corestring.h"
#include "platform/result.h"

namespace wsadmin::platform::posix {

inline Failure systemFailure(int error = errno) {
    return {error, CORE::toWide(std::system_category().message(error))};
}

}  // namespace wsadmin::platform::posix
