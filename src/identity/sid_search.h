// Entries of Active Directory by their SIDs, many in one search.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "ldap/directory_rows.h"
#include "ldap/domain_bindings.h"
#include "platform/ldap/sid.h"

namespace wsadmin {

struct SidSearchResult {
    std::map<platform::Sid, DirectoryRow> rows{};
    // Those that were not found and may exist all the same, because their domain could not be asked.
    std::set<platform::Sid> uncertain{};
};

// How many SIDs, or distinguished names, one search asks for.
inline constexpr std::size_t sidsPerSearch = 250;
inline constexpr std::size_t namesPerSearch = 100;

// The entries with these SIDs that meet the condition, a filter, with these attributes as their own domain
// has them, "objectSid" and "distinguishedName" among them. The primary domain, the rest of its forest and
// the trusted domains are searched in this order, each for the SIDs that are still missing. A domain that
// cannot be asked is logged and skipped, and without a domain map that is every domain.
SidSearchResult searchBySids(DomainBindings& bindings, std::vector<platform::Sid> sids,
                             std::string_view condition, std::vector<std::string> attributes);

}  // namespace wsadmin
