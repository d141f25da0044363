// What the pod's configuration directory says of its connection servers. The calling thread holds a
// DirectoryThread. What fails is logged.
#pragma once

#include <string>
#include <vector>

#include "platform/platform.h"

namespace wsadmin::qrv {

inline constexpr int leastVersion = 600;  // of a connection server in a federation

// Whether every connection server is recent enough; those that are not are logged. A server without a version
// number is not.
Result<bool> allServersAreRecent(platform::Platform& platform);

// The SIDs of the connection servers with that state flag. Failure: a sentence with the base of the search.
Result<std::vector<std::string>> sidsOfServers(platform::Platform& platform, int flag);

}  // namespace wsadmin::qrv
