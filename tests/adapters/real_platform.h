// The platform of the build's own operating system.
#pragma once

#if defined(_WIN32)
#include "platform/windows/windows_platform.h"
#else
#include "platform/posix/posix_platform.h"
#endif

namespace wsadmin::platform {

#if defined(_WIN32)
inline constexpr bool isWindows = true;
inline const auto realPlatform = windows::makePlatform;
#else
inline constexpr bool isWindows = false;
inline const auto realPlatform = posix::makePlatform;
#endif

}  // namespace wsadmin::platform
