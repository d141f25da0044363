// The installation of the global layer for the first pod of a federation.
#pragma once

#include "ldap/service_context.h"

namespace wsadmin::qrv {

// Installs the directory instance on this server and fills it. Progress and the outcome of the last step are
// written to this server's entry. The calling thread holds a DirectoryThread. Failure: the sentence of the
// step that failed; what was made until then stays.
Result<void> installFirstPod(ServiceContext& service);

}  // namespace wsadmin::qrv
