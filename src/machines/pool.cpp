#include "machines/pool.h"

#include <algorithm>
#include <charconv>

#include "ldap/layout.h"
#include "ldap/search.h"
#include "machines/machine_filters.h"
#include "platform/ldap/ldap_text.h"

namespace wsadmin {

namespace {

constexpr int persistentTypes[] = {1, 3, 5, 6, 12, 14};

}  // namespace

bool Pool::persistent() const noexcept {
    return std::ranges::find(persistentTypes, type) != std::end(persistentTypes);
}

PoolSearch findPool(platform::LdapSession& session, std::string_view name, Pool& pool) {
    const auto found =
        readEntry(session, poolDn(name), "objectclass=zre-ServerPool", {layout::attribute::poolType});
    if (!found) return PoolSearch::failed;
    if (found->empty()) return PoolSearch::noEntry;
    pool.dn = found->front().dn;
    const std::string_view type = found->front().first(layout::attribute::poolType);
    std::from_chars(type.data(), type.data() + type.size(), pool.type);
    return PoolSearch::found;
}

std::string poolName(std::string_view dn) {
    return platform::rdnValue(dn);
}

}  // namespace wsadmin
