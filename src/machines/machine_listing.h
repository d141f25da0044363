// "machine-list": machines as they come from the directory, with their owners, who are looked up in batches.
#pragma once

#include <optional>
#include <vector>

#include "framework/core/property_bag.h"
#include "identity/domain_bindings.h"
#include "ldap/service_context.h"
#include "machines/machine_entry.h"
#include "platform/ldap/sid.h"
#include "platform/ldap_session.h"

namespace wsadmin {

// For one thread, which holds a DirectoryThread.
class MachineListing {
  public:
    MachineListing(ServiceContext& service, bool full) : service_(service), full_(full) {}

    void add(std::vector<platform::LdapEntry> page);
    // The list, in the order of the directory.
    CORE::PropertyBag finish();

  private:
    bool shouldBuffer() const noexcept;
    void flush();

    ServiceContext& service_;
    bool full_;
    std::optional<Result<DomainBindings>> domains_;  // nothing: not read yet
    MachineOwners owners_;
    std::vector<platform::Sid> pendingOwners_;  // not looked up yet
    std::vector<platform::LdapEntry> buffer_;   // not rendered yet
    CORE::PropertyBag list_;
};

}  // namespace wsadmin
