// A machine as a listing shows it.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "framework/core/property_bag.h"
#include "platform/ldap_session.h"
#include "platform/sid.h"

namespace wsadmin {

// What a listing tells of an owner.
struct MachineOwner {
    std::wstring domain;  // DNS name
    std::wstring account;
};
using MachineOwners = std::map<platform::Sid, MachineOwner>;

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
