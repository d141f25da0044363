#include "machines/entitlement_check.h"

#include <algorithm>

#include "identity/user_groups.h"

namespace wsadmin {

using platform::Sid;

Entitled EntitlementCheck::check(const Sid& user, const DesktopEntry& desktop) {
    if (memberships_.isAmong(user, desktop.members)) return Entitled::yes;
    const std::string* const dn = memberships_.find(user);
    if (!dn) return memberships_.unsure() ? Entitled::unknown : Entitled::no;
    auto known = groups_.find(user);
    if (known == groups_.end()) {
        std::optional<std::set<Sid>> groups;
        if (const auto found = userGroups(service_, *dn)) groups.emplace(found->begin(), found->end());
        known = groups_.emplace(user, std::move(groups)).first;
    }
    if (!known->second) return Entitled::unknown;
    const auto isMember = [&desktop](const Sid& group) { return desktop.members.contains(group); };
    return std::ranges::any_of(*known->second, isMember) ? Entitled::yes : Entitled::no;
}

}  // namespace wsadmin
