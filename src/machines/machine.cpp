#include "machines/machine.h"

#include "identity/accounts.h"
#include "ldap/layout.h"
#include "ldap/search.h"
#include "machines/machine_entry.h"
#include "machines/machine_listing.h"

namespace wsadmin {

using CORE::PropertyBag;
using CORE::toUtf8;
using platform::LdapEntry;

namespace {

std::optional<std::string> given(const PropertyBag& request, const wchar_t* key) {
    const std::string_view value = request.utf8(key);
    return value.empty() ? std::nullopt : std::optional<std::string>(value);
}

}  // namespace

bool Machine::locate(platform::LdapSession& session, std::wstring_view pool, Pool& found) {
    switch (findPool(session, toUtf8(pool), found)) {
        case PoolSearch::found:
            return true;
        case PoolSearch::failed:
            fail(L"Could not locate pool " + std::wstring(pool));
            return false;
        case PoolSearch::noEntry:
            break;
    }
    fail(L"Could not locate pool (no entry) " + std::wstring(pool));
    return false;
}

void Machine::getMachineInfo() {
    MachineCriteria criteria{.name = given(request(), L"machineName"),
                             .pool = given(request(), L"desktopName")};
    if (const CORE::wstr user = request().get(L"username"); !user.empty()) {
        criteria.owner = userOf(service(), user);
        if (!criteria.owner) return fail(L"Cannot determine SID for user");
    }
    if (criteria.name && (criteria.pool || criteria.owner))
        return fail(L"A machine name cannot be specified with either a desktopname and/or a username");
    platform::LdapSession* session = directory();
    if (!session) return;
    if (Pool pool; criteria.pool && !locate(*session, request().get(L"desktopName"), pool)) return;
    const std::string base =
        given(request(), L"machineDn").value_or(layout::under(layout::container::machines));
    const bool full = !criteria.none() || request().getBool(L"forceFullListing", false);
    list(*session, base, machineFilter(criteria), full);
}

void Machine::list(platform::LdapSession& session, const std::string& base, const std::string& filter,
                   bool full) {
    const platform::DirectoryThread thread(*service().platform().directoryServices);
    PagedSearch pages(session, base, filter, full ? fullAttributes() : briefAttributes());
    MachineListing listing(service(), full);
    for (std::vector<LdapEntry> page;;) {
        const auto more = pages.next(page);
        if (!more) return fail(more.error().text);
        if (!*more) break;
        listing.add(std::move(page));
    }
    result().addBag(L"machine-list", listing.finish());
}

}  // namespace wsadmin
