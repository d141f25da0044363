// The installation of a replica of the global layer, by a pod that joins a federation or by a further server
// of one that takes part.
#pragma once

#include "federation/source_server.h"

namespace wsadmin::qrv {

// Takes the replica from the source and adds this pod and server to it. Progress and the outcome of the last
// step are written to this server's entry. Whether the source can be reached, lets the account in and knows
// no other machine of this name is found out before anything is installed. The calling thread holds a
// DirectoryThread. Failure: the sentence of the step that failed; what was made until then stays.
Result<void> installReplica(ServiceContext& service, const SourceServer& source);

}  // namespace wsadmin::qrv
