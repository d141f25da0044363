// "machine-list": machines as they come from the directory, with their owners, who are looked up in batches.
#pragma once

#include <vector>

#include "framework/core/property_bag.h"
#include "ldap/domain_bindings.h"
#include "machines/machine_entry.h"
#include "platform/ldap/sid.h"
#include "platform/ldap_session.h"

namespace wsadmin {

// For one thread, which holds a DirectoryThread.
class MachineListing {
  public:
    MachineListing(DomainBindings& domains, bool full) : domains_(domains), full_(full) {}

    void add(std::vector<platform::LdapEntry> page);
    // The list, in the order of the directory.
    CORE::PropertyBag finish();

  private:
    bool shouldBuffer() const noexcept;
    void flush();

    DomainBindings& domains_;
    bool full_;
    MachineOwners owners_;
    std::vector<platform::Sid> pendingOwners_;  // not looked up yet
    std::vector<platform::LdapEntry> buffer_;   // not rendered yet
    CORE::PropertyBag list_;
};

}  // namespace wsadmin
