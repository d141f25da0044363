#include "machines/entitlement_check.h"

#include <algorithm>

namespace wsadmin {

using platform::Sid;

Entitled EntitlementCheck::check(const Sid& user, const DesktopEntry& desktop) {
    if (memberships_.isAmong(user, desktop.members)) return Entitled::yes;
    const std::string* const dn = memberships_.find(user);
    if (!dn) return memberships_.isUncertain(user) ? Entitled::unknown : Entitled::no;
    auto groups = logonGroups_.find(user);
    if (groups == logonGroups_.end()) groups = logonGroups_.emplace(user, userGroups(domains_, *dn)).first;
    if (!groups->second) return Entitled::unknown;
    const auto isMember = [&desktop](const Sid& group) { return desktop.members.contains(group); };
    if (std::ranges::any_of(groups->second->sids, isMember)) return Entitled::yes;
    return groups->second->complete ? Entitled::no : Entitled::unknown;
}

}  // namespace wsadmin
