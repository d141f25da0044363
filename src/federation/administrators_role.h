// The administrators role of this server's instance of the global layer: every connection server of the pod
// whose state flag is 1 holds it, and one whose flag is 0 does not.
#pragma once

#include "platform/platform.h"

namespace wsadmin::qrv {

// Brings the role up to date. The calling thread holds a DirectoryThread. Failure: the step's sentence.
Result<void> updateAdministratorsRole(platform::Platform& platform);

}  // namespace wsadmin::qrv
