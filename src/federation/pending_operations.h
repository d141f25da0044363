// The wait for a directory instance that still has replication operations to do.
#pragma once

#include "ldap/service_context.h"
#include "platform/replication.h"

namespace wsadmin::qrv {

// Asks every five seconds, without a limit, until there are none. Failure: the instance cannot be asked, or
// the service stops; either is logged.
Result<void> waitForPendingOps(ServiceContext& service, platform::ReplicationBinding& instance);

}  // namespace wsadmin::qrv
