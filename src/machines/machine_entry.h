// A machine as a listing shows it.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "framework/core/property_bag.h"
#include "identity/user_information.h"
#include "platform/ldap/sid.h"
#include "platform/ldap_session.h"

namespace wsadmin {

struct SidHash {
    std::size_t operator()(const platform::Sid& sid) const noexcept {
        return std::hash<std::string>()(sid.bytes());
    }
};
using MachineOwners = std::unordered_map<platform::Sid, DomainAccount, SidHash>;

// The attributes that a listing reads.
std::vector<std::string> briefAttributes();
std::vector<std::string> fullAttributes();

// Nothing where there is none, or it is no SID.
std::optional<platform::Sid> ownerOf(const platform::LdapEntry& machine);

CORE::PropertyBag renderBrief(const platform::LdapEntry& machine);
// Owners who are not among the known ones are shown by their SID alone.
CORE::PropertyBag renderFull(const platform::LdapEntry& machine, const MachineOwners& owners);
// What getMachineAgentInfo shows.
CORE::PropertyBag renderAddresses(const platform::LdapEntry& machine);

}  // namespace wsadmin
