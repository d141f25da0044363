#include "machines/machine_operations.h"

#include "identity/account_lookup.h"
#include "ldap/layout.h"
#include "ldap/search.h"
#include "machines/machine_filters.h"
#include "machines/machine_keys.h"
#include "machines/machine_listing.h"
#include "machines/pool.h"

namespace wsadmin {

namespace {

// The value where it is there and not empty.
std::optional<std::string> given(const Request& request, const Key& key) {
    const std::string_view value = request.utf8(key);
    return value.empty() ? std::nullopt : std::optional<std::string>(value);
}

// All pages of the search as one list, or the failure of one of them.
Result<CORE::PropertyBag> listMachines(DomainBindings& domains, platform::LdapSession& session,
                                       const std::string& base, const std::string& filter, bool full) {
    PagedSearch pages(session, base, filter, full ? fullAttributes() : briefAttributes());
    MachineListing listing(domains, full);
    for (std::vector<platform::LdapEntry> page;;) {
        const auto more = pages.next(page);
        if (!more) return fail(more.error());
        if (!*more) return listing.finish();
        listing.add(std::move(page));
    }
}

}  // namespace

Result<void> Machine::getMachineInfo() {
    const auto session = directory();
    if (!session) return fail(session.error());
    MachineCriteria criteria{.name = given(request(), key::machineName),
                             .pool = given(request(), key::machinePool)};
    if (const CORE::wstr user = request().text(key::machineOwner); !user.empty()) {
        criteria.owner = userOf(domains(), user);
        if (!criteria.owner) return fail(L"Cannot determine SID for user");
    }
    if (criteria.name && (criteria.pool || criteria.owner))
        return fail(L"A machine name cannot be specified with either a desktopname and/or a username");
    if (criteria.pool)
        if (const auto pool = findPool(**session, request().text(key::machinePool)); !pool)
            return fail(pool.error());
    const std::string base = given(request(), key::machineDn).value_or(CORE::toUtf8(key::machineDn.fallback));
    const bool full = !criteria.none() || request().boolean(key::forceFullListing);
    auto list = listMachines(domains(), **session, base, machineFilter(criteria), full);
    if (!list) return fail(list.error());
    result().addBag(L"machine-list", std::move(*list));
    return {};
}

}  // namespace wsadmin
