#include "machines/desktop_cache.h"

#include <span>

#include "ldap/layout.h"
#include "ldap/search.h"
#include "platform/ldap/batches.h"
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
    // An incomplete member list would report users who are entitled.
    const auto members = readValues(session_, entry, layout::attribute::member);
    if (!members) return fail(members.error());
    for (const std::string& member : *members)
        if (const auto sid = Sid::parse(platform::rdnValue(member))) desktop.members.insert(*sid);
    return &desktops_.emplace(key, std::move(desktop)).first->second;
}

Result<void> DesktopCache::load(const std::vector<std::string_view>& poolDns) {
    std::vector<std::string_view> names;
    std::vector<std::string> missing;
    for (const std::string_view dn : poolDns) {
        if (byPoolDn_.contains(dn)) continue;
        byPoolDn_.emplace(dn, nullptr);
        names.push_back(dn);
        if (byPoolKey_.try_emplace(keyOf(dn), nullptr).second) missing.emplace_back(dn);
    }
    if (!missing.empty())
        if (auto read = readPools(missing); !read) return read;
    for (const std::string_view dn : names) byPoolDn_.find(dn)->second = byPoolKey_.find(keyOf(dn))->second;
    return {};
}

Result<void> DesktopCache::readPools(const std::vector<std::string>& poolDns) {
    for (const auto batch : platform::batchesOf(poolDns, poolsPerSearch)) {
        Keys keys;
        for (const std::string& dn : batch) keys.insert(keyOf(dn));
        const auto found = searchSubtree(session_, layout::under(layout::container::desktops),
                                         filterOf(batch), {layout::attribute::member, pools});
        if (!found) return fail(found.error());
        for (const LdapEntry& entry : *found)
            if (auto assigned = assign(entry, keys); !assigned) return assigned;
        for (const std::string& dn : batch)
            if (!byPoolKey_[keyOf(dn)]) logWarning(L"Failed to determine desktop for %s", dn);
    }
    return {};
}

// A pool that several desktops name has the first of them.
Result<void> DesktopCache::assign(const LdapEntry& entry, const Keys& poolKeys) {
    const auto served = readValues(session_, entry, pools);
    if (!served) return fail(served.error());
    for (const std::string& pool : *served)
        if (const std::string key = keyOf(pool); poolKeys.contains(key) && !byPoolKey_[key]) {
            const auto desktop = store(entry);
            if (!desktop) return fail(desktop.error());
            byPoolKey_[key] = *desktop;
        }
    return {};
}

const DesktopEntry* DesktopCache::ofPool(std::string_view poolDn) const {
    const auto known = byPoolDn_.find(poolDn);
    return known == byPoolDn_.end() ? nullptr : known->second;
}

Result<const DesktopEntry*> DesktopCache::byDn(std::string_view dn) {
    const std::string key = keyOf(dn);
    if (const auto known = byDn_.find(key); known != byDn_.end()) return known->second;
    const auto found = findEntry(session_, std::string(dn), "(objectclass=zre-DesktopApplication)",
                                 {layout::attribute::member});
    if (!found) return fail(found.error());
    const DesktopEntry* desktop = nullptr;
    if (!found->empty()) {
        const auto stored = store(found->front());
        if (!stored) return stored;
        desktop = *stored;
    }
    return byDn_[key] = desktop;
}

}  // namespace wsadmin
