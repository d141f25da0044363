// The entries by which the instances of the global layer know each other for replication.
#pragma once

#include <string>

#include "federation/source_server.h"

namespace wsadmin::qrv {

struct ReplicatingServer {
    std::string netBiosName;
    std::string hostName;  // fully qualified
};

// Deletes the server's entry as the instance of `source` has it, which an earlier replica left. Failure: the
// entries cannot be searched, or one of that name is another machine's. An entry that cannot be deleted is
// none. The calling thread holds a DirectoryThread; what fails is logged.
Result<void> removeStaleEntry(platform::Platform& platform, const SourceServer& source,
                              const ReplicatingServer& server);

}  // namespace wsadmin::qrv
