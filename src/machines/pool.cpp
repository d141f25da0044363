#include "machines/pool.h"

#include <algorithm>
#include <charconv>

#include "ldap/layout.h"
#include "ldap/search.h"
#include "machines/machine_filters.h"
#include "platform/ldap/ldap_text.h"

namespace wsadmin {

bool Pool::persistent() const noexcept {
    constexpr int persistentTypes[] = {1, 3, 5, 6, 12, 14};
    return std::ranges::find(persistentTypes, type) != std::end(persistentTypes);
}

Result<Pool> findPool(platform::LdapSession& session, std::wstring_view name, std::wstring searchFailed,
                      std::wstring noEntry) {
    const auto found = readEntry(session, poolDn(CORE::toUtf8(name)), "objectclass=zre-ServerPool",
                                 {layout::attribute::poolType});
    if (!found) return fail(std::move(searchFailed));
    if (found->empty()) return fail(std::move(noEntry));
    const std::string_view type = found->front().first(layout::attribute::poolType);
    Pool pool;
    std::from_chars(type.data(), type.data() + type.size(), pool.type);
    return pool;
}

Result<Pool> findPool(platform::LdapSession& session, std::wstring_view name) {
    return findPool(session, name, L"Could not locate pool " + std::wstring(name),
                    L"Could not locate pool (no entry) " + std::wstring(name));
}

std::string poolName(std::string_view dn) {
    return platform::rdnValue(dn);
}

}  // namespace wsadmin
