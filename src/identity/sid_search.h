// Entries of Active Directory by their SIDs, many in one search.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "identity/domain_bindings.h"
#include "ldap/directory_rows.h"
#include "platform/ldap/sid.h"

namespace wsadmin {

using RowsBySid = std::map<platform::Sid, DirectoryRow>;

// How many SIDs one search asks for.
inline constexpr std::size_t sidsAtOnce = 250;

// The entries with these SIDs that meet the condition, a filter, with these attributes as their own domain
// has them, "objectSid" and "distinguishedName" among them. Asked in turn are the primary domain, the rest of
// its forest and the trusted domains, each for what is still missing. One that cannot be asked is logged and
// skipped; `unasked`, where given, is then set if something was missing. Needs a DirectoryThread.
RowsBySid searchBySids(ServiceContext& service, const DomainBindings& domains,
                       std::vector<platform::Sid> sids, std::string_view condition,
                       std::vector<std::string> attributes, bool* unasked = nullptr);

}  // namespace wsadmin
