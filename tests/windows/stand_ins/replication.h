// The replication interface, which Wine does not have: it notes what it is asked and answers as it is told.
#pragma once

#include <windows.h>
// After windows.h:
#include <ntdsapi.h>

#include <string>
#include <vector>

namespace test {

using Words = std::vector<std::wstring>;

struct ReplicationStandIn {
    Words calls;  // with what they were given
    DWORD failure = ERROR_SUCCESS;
    bool answersNothing = false;
    DS_REPL_PENDING_OPSW pending{};
    std::vector<DS_REPSYNCALL_UPDATEW*> updates;  // told by a synchronisation; null: an event without content
    int bindings = 0, results = 0, identities = 0;  // that are not given back
    int identity = 0;                               // its address stands for one
};
extern ReplicationStandIn replicationStandIn;

}  // namespace test
