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
#else
inline constexpr bool isWindows = false;
#endif

inline std::shared_ptr<Platform> realPlatform() {
#if defined(_WIN32)
    return windows::makePlatform();
#else
    return posix::makePlatform();
#endif
}

}  // namespace wsadmin::platform
