#include "machines/desktops.h"

#include <span>

#include "ldap/layout.h"
#include "ldap/search.h"
#include "platform/ldap/batches.h"
#include "platform/ldap/ldap_ranges.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using platform::LdapEntry;
using platform::Sid;

namespace {

constexpr char pools[] = "zre-Servers";
constexpr std::size_t poolsAtOnce = 100;
const std::vector<std::string> attributes = {layout::attribute::member};

// The desktops of these pools.
std::string filterOf(std::span<const std::string> poolDns) {
    std::string terms;
    for (const std::string& dn : poolDns) terms += platform::filterTerm(pools, dn);
    return "(&(objectclass=zre-DesktopApplication)" + (poolDns.size() > 1 ? "(|" + terms + ")" : terms) + ")";
}

std::string keyOf(std::string_view dn) {
    return platform::dnKey(dn).value_or(std::string(dn));
}

}  // namespace

const DesktopEntry* Desktops::keep(const LdapEntry& entry) {
    const std::string key = keyOf(entry.dn);
    if (const auto known = desktops_.find(key); known != desktops_.end()) return &known->second;
    DesktopEntry desktop{.dn = entry.dn, .members = {}};
    if (const auto* some = platform::findValues(entry.attributes, layout::attribute::member)) {
        const auto members = platform::allValues(session_, entry.dn, *some);
        // With half of the members people would be reported who are entitled.
        if (!members) return nullptr;
        for (const std::string& member : *members)
            if (const auto sid = Sid::parse(platform::rdnValue(member))) desktop.members.insert(*sid);
    }
    return &desktops_.emplace(key, std::move(desktop)).first->second;
}

void Desktops::learn(const std::vector<std::string_view>& poolDns) {
    std::vector<std::string_view> names;
    std::vector<std::string> unknown;
    for (const std::string_view dn : poolDns) {
        if (ofNamed_.contains(dn)) continue;
        ofNamed_.emplace(dn, nullptr);
        names.push_back(dn);
        if (byPool_.try_emplace(keyOf(dn), nullptr).second) unknown.emplace_back(dn);
    }
    if (!unknown.empty()) read(unknown);
    for (const std::string_view dn : names) ofNamed_.find(dn)->second = byPool_.find(keyOf(dn))->second;
}

void Desktops::read(const std::vector<std::string>& poolDns) {
    std::vector<std::string> asked = attributes;
    asked.emplace_back(pools);
    for (const auto batch : platform::batchesOf(poolDns, poolsAtOnce)) {
        Keys keys;
        for (const std::string& dn : batch) keys.insert(keyOf(dn));
        if (const auto found =
                searchSubtree(session_, layout::under(layout::container::desktops), filterOf(batch), asked))
            for (const LdapEntry& entry : *found) assign(entry, keys);
        for (const std::string& dn : batch)
            if (!byPool_[keyOf(dn)]) logWarning(L"Failed to determine desktop for %s", dn);
    }
}

// The first desktop of a pool counts.
void Desktops::assign(const LdapEntry& entry, const Keys& asked) {
    for (const std::string& pool : entry.all(pools))
        if (const std::string key = keyOf(pool); asked.contains(key) && !byPool_[key])
            byPool_[key] = keep(entry);
}

const DesktopEntry* Desktops::ofPool(std::string_view poolDn) {
    if (!ofNamed_.contains(poolDn)) learn({poolDn});
    return ofNamed_.find(poolDn)->second;
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
