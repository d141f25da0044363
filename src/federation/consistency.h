// The agreement of the federation's directory instances, and the role that may change their schema. The
// calling thread holds a DirectoryThread. What fails is logged; waits end when the service stops.
#pragma once

#include <string>

#include "federation/source_account.h"
#include "ldap/service_context.h"
#include "platform/replication.h"

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

// Synchronises a naming context with all other instances, up to 200 times, until that meets no error with any
// of them. Only a failure before a removal is logged here. Its code is that of the last call, 0 where that
// did not fail.
enum class Purpose { consistency, removal };
Result<void> synchroniseAll(ServiceContext& service, platform::ReplicationBinding& instance,
                            const std::wstring& namingContext, Purpose purpose,
                            platform::SyncDirection direction);

}  // namespace wsadmin::qrv
