// The desktop machines of the configuration directory: listings, owners, addresses.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ldap/worker.h"
#include "machines/machine_filters.h"
#include "machines/pool.h"
#include "platform/result.h"

namespace wsadmin {

class Machine : public Worker {
  public:
    Machine(ServiceContext& service, const CORE::PropertyBag& request) : Worker(service, request) {}

    // "machine-list": all machines in brief, or those that the request describes in full.
    void getMachineInfo();
    // Sets or removes the owner of a machine in a pool whose machines have owners.
    void setVMOwnership();
    void markMachineForSpaceReclamation();
    // "machine-list" with the addresses of a pool's machines.
    void getMachineAgentInfo();
    // Sets or removes the address that overrides a machine's own; "status".
    void setMachineAgentInfo();

  private:
    // False after its failure was put into the result.
    bool locate(platform::LdapSession& session, std::wstring_view pool, Pool& found);
    // All pages as "machine-list", or the failure of one of them and nothing else.
    void list(platform::LdapSession& session, const std::string& base, const std::string& filter, bool full);

    // The machine whose owner is to change; nothing after its failure was put into the result.
    std::optional<platform::LdapEntry> ownershipTarget(platform::LdapSession& session,
                                                       const MachineCriteria& criteria);
    // A machine of the pool that the user owns, by its name shown to people, other than the one given.
    Result<std::optional<std::string>> otherOwned(platform::LdapSession& session,
                                                  const MachineCriteria& owned, const std::string& exceptDn);
    bool failBecauseOwned(const Result<std::optional<std::string>>& other);
    void removeOwner(platform::LdapSession& session, const platform::LdapEntry& machine);
    void assignOwner(platform::LdapSession& session, const platform::LdapEntry& machine,
                     const MachineCriteria& owned);

    // The machines that the keys "desktopName" and "machineName" describe; nothing after a failure.
    std::optional<std::vector<platform::LdapEntry>> requestedMachines(platform::LdapSession& session);
};

}  // namespace wsadmin
