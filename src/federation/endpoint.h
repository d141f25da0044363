// This server as an endpoint of its pod in the federation.
#pragma once

#include <string>

#include "ldap/service_context.h"

namespace wsadmin::qrv {

// Enables the endpoint on this server's instance, and waits until the instance of `server` has the change:
// up to 180 times five seconds, or until the service stops. The calling thread holds a DirectoryThread.
// Failures are logged.
Result<void> enableEndpoint(ServiceContext& service, const std::string& server,
                            const platform::DirectoryCredentials& credentials = {});

}  // namespace wsadmin::qrv
