// The agreement of the federation's directory instances, and the role that may change their schema. The
// calling thread holds a DirectoryThread. What fails is logged; waits end when the service stops.
#pragma once

#include <string>

#include "federation/source_account.h"
#include "ldap/service_context.h"

namespace wsadmin::qrv {

// Who takes the changes: this server's instance, or the other one.
enum class Flow { incoming, outgoing };

// Links the instance of `server` (a host name) and this server's for all three naming contexts, and
// replicates them at once.
Result<void> forceConsistency(ServiceContext& service, const std::string& server, Flow flow,
                              const SourceAccount& account = {});

// Pushes what this server's instance has to all others.
Result<void> forceConsistencyBeforeRemoval(ServiceContext& service);

// Makes this server's instance the one that may change the schema.
Result<void> takeSchemaMaster(ServiceContext& service);

}  // namespace wsadmin::qrv
