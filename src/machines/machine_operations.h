// The desktop machines of the configuration directory: listings, owners, addresses.
#pragma once

#include "ldap/worker.h"

namespace wsadmin {

class Machine : public Worker {
  public:
    using Worker::Worker;

    // "machine-list": all machines in brief, or those that the request describes in full.
    Result<void> getMachineInfo();
    // Sets or removes the owner of a machine in a pool whose machines have owners.
    Result<void> setVMOwnership();
    Result<void> markMachineForSpaceReclamation();
    // "machine-list" with the addresses of a pool's machines.
    Result<void> getMachineAgentInfo();
    // Sets or removes the address that overrides a machine's own; "status".
    Result<void> setMachineAgentInfo();
};

}  // namespace wsadmin
