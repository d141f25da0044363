// What this server knows of itself and of its pod. The calling thread holds a DirectoryThread. Failures carry
// their sentence.
#pragma once

#include <string>

#include "platform/platform.h"

namespace wsadmin::qrv {

Result<std::string> ownNetBiosName(const platform::Platform& platform);
Result<std::string> ownHostName(const platform::Platform& platform);
Result<std::string> ownPodGuid(platform::Platform& platform);
Result<std::string> ownPodName(platform::Platform& platform);

// The local group of administrators as DOMAIN\name.
std::wstring administratorsGroup(const platform::Platform& platform);

}  // namespace wsadmin::qrv
