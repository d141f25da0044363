#include "identity/entitlement.h"

#include <iterator>
#include <utility>

#include "identity/entitlement_records.h"
#include "identity/principals.h"
#include "ldap/directory_query.h"
#include "ldap/directory_session.h"
#include "ldap/layout.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using platform::DirectorySearch;
using platform::DirectoryThread;

namespace {

constexpr std::wstring_view noEntitlements = L"No entitlements";
constexpr std::wstring_view noSearch = L"Failed to find entitlements";

template <class Record>
void addRecords(CORE::PropertyBag& result, std::wstring_view key, const std::vector<DirectoryRow>& rows,
                Record (*recordOf)(const DirectoryRow&)) {
    for (const DirectoryRow& row : rows) result.addBag(key, render(recordOf(row)));
}

}  // namespace

void Entitlement::desktops() {
    logSids(L"SID list for entitlements purposes %s");
    if (const auto rows = ask({desktopFilter, entitlementAttributes(), noEntitlements, noSearch, {}}))
        addRecords(result(), L"entitlement", *rows, entitlementOf);
}

void Entitlement::packages() {
    logSids(L"SID list for entitlements purposes %s");
    if (const auto rows = ask({packageFilter, packageAttributes(), noEntitlements, noSearch, {}}))
        addRecords(result(), L"entitlement", *rows, entitlementOf);
}

void Entitlement::adminRoles() {
    logSids(L"SID list for admin role association purposes %s");
    if (const auto rows = ask({adminRoleFilter, adminRoleAttributes(), L"No admin roles",
                               L"Failed to find admin roles", L"BaseDN is %s"}))
        addRecords(result(), L"admin-role", *rows, adminRoleOf);
}

void Entitlement::globalDesktops() {
    logSids(L"SID list for entitlements purposes %s");
    const auto sids = readSids();
    if (!sids) return;
    const std::string filter = globalAssignmentFilter(*sids);
    const std::string base = layout::underGlobal(layout::container::entitlements);
    logDebug(L"Filter is %s", filter);
    logDebug(L"BaseDn is %s", base);

    platform::DirectoryServices& services = *service().platform().directoryServices;
    const DirectoryThread thread(services);
    const auto layer = openQuery(services, federationPath(base));
    if (!layer) return fail(noEntitlements);
    const auto found = assignments(**layer, *sids, filter);
    if (!found) return;
    if (const auto rows = assignedEntitlements(**layer, *found))
        addRecords(result(), L"entitlement", *rows, globalEntitlementOf);
}

void Entitlement::logSids(std::wstring_view format) const {
    std::wstring list;
    CORE::wstr value;
    for (std::size_t position = 0; request().getNext(L"sid", value, position);)
        list += (list.empty() ? L"" : L", ") + value.str();
    logDebug(format, list);
}

// A server that refuses the bind refuses the base too, which is answered as if nobody were entitled to
// anything. A server that is not there is a failure of its own.
bool Entitlement::reachDirectory() {
    const auto session = tryDirectory();
    if (session || session.error().code < platform::ldapServerDown) return true;
    setDirectoryError(result(), session.error());
    return false;
}

std::optional<SidList> Entitlement::readSids() {
    auto sids = sidList(request());
    if (sids) return std::move(*sids);
    logError(L"Error: Failed to construct LDAP filter");
    logError(L"%s", sids.error().text);
    fail(L"Failed to construct LDAP filter");
    return std::nullopt;
}

std::optional<Entitlement::Rows> Entitlement::ask(const Query& query) {
    if (!reachDirectory()) return std::nullopt;
    const auto sids = readSids();
    if (!sids) return std::nullopt;
    const std::string filter = query.filter(*sids);
    logDebug(L"Filter is %s", filter);
    if (!query.baseLine.empty()) logDebug(query.baseLine, layout::namingContext);

    platform::DirectoryServices& services = *service().platform().directoryServices;
    const DirectoryThread thread(services);
    const auto base = openQuery(services, configurationPath(layout::namingContext));
    if (!base) {
        fail(query.unopened);
        return std::nullopt;
    }
    if (sids->empty()) return Rows();  // nothing matches an empty group, which not every directory takes
    auto rows = queryRows(**base, QueryScope::subtree, filter, query.attributes);
    if (rows) return std::move(*rows);
    fail(query.failed);
    return std::nullopt;
}

std::optional<Entitlement::Rows> Entitlement::assignments(DirectorySearch& layer, const SidList& sids,
                                                          const std::string& filter) {
    if (sids.empty()) return Rows();
    auto rows = queryRows(layer, QueryScope::subtree, filter, {layout::attribute::globalEntitlement});
    if (rows) return std::move(*rows);
    fail(noSearch);
    return std::nullopt;
}

std::optional<Entitlement::Rows> Entitlement::assignedEntitlements(DirectorySearch& layer,
                                                                   const Rows& assignments) {
    Rows entitlements;
    for (const DirectoryRow& assignment : assignments) {
        const auto* const reference =
            assignment.first<platform::DirectoryName>(layout::attribute::globalEntitlement);
        if (!reference) {
            logError(
                L"Failed to find global entitlement entry. Assignment entry does not contain a "
                L"zre-GlobalEntitlementDN reference");
            continue;
        }
        const std::string filter = platform::filterTerm("distinguishedName", reference->dn);
        logDebug(L"Filter is %s", filter);
        auto found = queryRows(layer, QueryScope::subtree, filter, globalEntitlementAttributes(), 1);
        if (!found) {
            fail(noSearch);
            return std::nullopt;
        }
        if (found->empty())
            logError(L"Failed to find global entitlement entry using filer %s", filter);
        else
            entitlements.push_back(std::move(found->front()));
    }
    return entitlements;
}

}  // namespace wsadmin
