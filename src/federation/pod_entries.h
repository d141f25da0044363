// What the federation has of a pod, removed from this server's instance of the global layer. What cannot be
// deleted is logged, and left to another try. The calling thread holds a DirectoryThread.
#pragma once

#include <string_view>

#include "platform/platform.h"

namespace wsadmin::qrv {

// The pod's entry with its endpoints, and the container of its groups.
void removePodEntries(platform::Platform& platform, std::string_view podGuid);

// The same of another pod, by the name that people know it by. Failure: there is none, or it is this pod.
Result<void> ejectPod(platform::Platform& platform, const std::wstring& displayName);

// One endpoint of this pod, and by the server's fully qualified name its entry for replication. Failure:
// a name is missing, or the latter cannot be looked for or is another machine's.
Result<void> removeEndpoint(platform::Platform& platform, const std::wstring& name,
                            const std::wstring& hostName);

}  // namespace wsadmin::qrv
