#include "machines/entitlement_check.h"

#include <algorithm>

#include "identity/user_groups.h"

namespace wsadmin {

using platform::Sid;

Entitled EntitlementCheck::check(const Sid& user, const DesktopEntry& desktop) {
    if (memberships_.isAmong(user, desktop.members)) return Entitled::yes;
    const std::string* const dn = memberships_.find(user);
    if (!dn) return memberships_.incomplete() ? Entitled::unknown : Entitled::no;
    auto groups = logonGroups_.find(user);
    if (groups == logonGroups_.end()) groups = logonGroups_.emplace(user, userGroups(service_, *dn)).first;
    if (!groups->second) return Entitled::unknown;
    const auto isMember = [&desktop](const Sid& group) { return desktop.members.contains(group); };
    return std::ranges::any_of(*groups->second, isMember) ? Entitled::yes : Entitled::no;
}

}  // namespace wsadmin
