// This server as an endpoint of its pod in the federation.
#pragma once

#include "federation/source_server.h"

namespace wsadmin::qrv {

// Enables the endpoint on this server's instance, and waits until the instance of `server` has the change:
// up to 180 times five seconds, or until the service stops. Both are asked with the server's account. The
// calling thread holds a DirectoryThread. Failures are logged.
Result<void> enableEndpoint(ServiceContext& service, const SourceServer& server);

}  // namespace wsadmin::qrv
