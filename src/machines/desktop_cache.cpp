#include "machines/desktop_cache.h"

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
constexpr std::size_t poolsPerSearch = 100;

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

Result<const DesktopEntry*> DesktopCache::store(const LdapEntry& entry) {
    const std::string key = keyOf(entry.dn);
    if (const auto known = desktops_.find(key); known != desktops_.end()) return &known->second;
    DesktopEntry desktop{.dn = entry.dn, .members = {}};
    if (const auto* first = platform::findValues(entry.attributes, layout::attribute::member)) {
        const auto members = platform::allValues(session_, entry.dn, *first);
        // An incomplete member list would report users who are entitled.
        if (!members) return fail(members.error());
        for (const std::string& member : *members)
            if (const auto sid = Sid::parse(platform::rdnValue(member))) desktop.members.insert(*sid);
    }
    return &desktops_.emplace(key, std::move(desktop)).first->second;
}

void DesktopCache::load(const std::vector<std::string_view>& poolDns) {
    std::vector<std::string_view> names;
    std::vector<std::string> missing;
    for (const std::string_view dn : poolDns) {
        if (byPoolDn_.contains(dn)) continue;
        byPoolDn_.emplace(dn, nullptr);
        names.push_back(dn);
        if (byPoolKey_.try_emplace(keyOf(dn), nullptr).second) missing.emplace_back(dn);
    }
    if (!missing.empty()) readPools(missing);
    for (const std::string_view dn : names) byPoolDn_.find(dn)->second = byPoolKey_.find(keyOf(dn))->second;
}

void DesktopCache::readPools(const std::vector<std::string>& poolDns) {
    for (const auto batch : platform::batchesOf(poolDns, poolsPerSearch)) {
        Keys keys;
        for (const std::string& dn : batch) keys.insert(keyOf(dn));
        if (const auto found = searchSubtree(session_, layout::under(layout::container::desktops),
                                             filterOf(batch), {layout::attribute::member, pools}))
            for (const LdapEntry& entry : *found) assign(entry, keys);
        for (const std::string& dn : batch)
            if (!byPoolKey_[keyOf(dn)]) logWarning(L"Failed to determine desktop for %s", dn);
    }
}

// A pool that several desktops name has the first of them.
void DesktopCache::assign(const LdapEntry& entry, const Keys& poolKeys) {
    for (const std::string& pool : entry.all(pools))
        if (const std::string key = keyOf(pool); poolKeys.contains(key) && !byPoolKey_[key])
            byPoolKey_[key] = store(entry).value_or(nullptr);
}

const DesktopEntry* DesktopCache::ofPool(std::string_view poolDn) {
    if (!byPoolDn_.contains(poolDn)) load({poolDn});
    return byPoolDn_.find(poolDn)->second;
}

const DesktopEntry* DesktopCache::byDn(std::string_view dn) {
    const auto [known, isNew] = byDn_.try_emplace(keyOf(dn), nullptr);
    if (!isNew) return known->second;
    const auto found = readEntry(session_, std::string(dn), "(objectclass=zre-DesktopApplication)",
                                 {layout::attribute::member});
    if (found && !found->empty()) known->second = store(found->front()).value_or(nullptr);
    return known->second;
}

}  // namespace wsadmin
