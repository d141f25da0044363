#include "machines/desktops.h"

#include "ldap/layout.h"
#include "ldap/search.h"
#include "platform/ldap_ranges.h"
#include "platform/ldap_text.h"
#include "platform/module_log.h"

namespace wsadmin {

using platform::LdapEntry;
using platform::Sid;

namespace {

const std::vector<std::string> attributes = {layout::attribute::member};

std::string keyOf(std::string_view dn) {
    return platform::dnKey(dn).value_or(std::string(dn));
}

}  // namespace

const DesktopEntry* Desktops::keep(const LdapEntry& entry) {
    DesktopEntry desktop{.dn = entry.dn, .members = {}};
    if (const auto* some = platform::findValues(entry.attributes, layout::attribute::member)) {
        const auto members = platform::allValues(session_, entry.dn, *some);
        // With half of the members people would be reported who are entitled.
        if (!members) return nullptr;
        for (const std::string& member : *members)
            if (const auto sid = Sid::parse(platform::rdnValue(member))) desktop.members.insert(*sid);
    }
    return &desktops_.insert_or_assign(keyOf(entry.dn), std::move(desktop)).first->second;
}

const DesktopEntry* Desktops::ofPool(std::string_view poolDn) {
    const auto [known, isNew] = byPool_.try_emplace(keyOf(poolDn), nullptr);
    if (!isNew) return known->second;
    const auto found = searchSubtree(
        session_, layout::under(layout::container::desktops),
        "(&(objectclass=zre-DesktopApplication)(zre-Servers=" + platform::escapeFilterValue(poolDn) + "))",
        attributes);
    if (found && !found->empty()) known->second = keep(found->front());
    if (!known->second) logWarning(L"Failed to determine desktop for %s", poolDn);
    return known->second;
}

const DesktopEntry* Desktops::at(std::string_view dn) {
    const auto [known, isNew] = asked_.try_emplace(keyOf(dn), nullptr);
    if (!isNew) return known->second;
    const auto found =
        readEntry(session_, std::string(dn), "(objectclass=zre-DesktopApplication)", attributes);
    if (found && !found->empty()) known->second = keep(found->front());
    return known->second;
}

}  // namespace wsadmin
