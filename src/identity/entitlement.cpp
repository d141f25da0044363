#include "identity/entitlement.h"

#include <utility>

#include "identity/entitlement_records.h"
#include "identity/identity_keys.h"
#include "identity/principals.h"
#include "ldap/directory_query.h"
#include "ldap/layout.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using platform::DirectorySearch;

namespace {

constexpr wchar_t noEntitlements[] = L"No entitlements";
constexpr wchar_t noSearch[] = L"Failed to find entitlements";

template <class Record>
Result<void> addRecords(CORE::PropertyBag& result, std::wstring_view key,
                        const Result<std::vector<DirectoryRow>>& rows,
                        Record (*recordOf)(const DirectoryRow&)) {
    if (!rows) return fail(rows.error());
    for (const DirectoryRow& row : *rows) result.addBag(key, render(recordOf(row)));
    return {};
}

// The entitlements that the assignments refer to, one for each; a reference to nothing is logged and left
// out.
Result<std::vector<DirectoryRow>> assignedEntitlements(DirectorySearch& layer,
                                                       const std::vector<DirectoryRow>& assignments) {
    std::vector<DirectoryRow> entitlements;
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
        if (!found) return fail(noSearch);
        if (found->empty())
            logError(L"Failed to find global entitlement entry using filer %s", filter);
        else
            entitlements.push_back(std::move(found->front()));
    }
    return entitlements;
}

}  // namespace

Result<void> Entitlement::desktops() {
    logSids(L"SID list for entitlements purposes %s");
    return addRecords(result(), L"entitlement",
                      search({desktopFilter, entitlementAttributes(), noEntitlements, noSearch, nullptr}),
                      entitlementOf);
}

Result<void> Entitlement::packages() {
    logSids(L"SID list for entitlements purposes %s");
    return addRecords(result(), L"entitlement",
                      search({packageFilter, packageAttributes(), noEntitlements, noSearch, nullptr}),
                      entitlementOf);
}

Result<void> Entitlement::adminRoles() {
    logSids(L"SID list for admin role association purposes %s");
    return addRecords(result(), L"admin-role",
                      search({adminRoleFilter, adminRoleAttributes(), L"No admin roles",
                              L"Failed to find admin roles", L"BaseDN is %s"}),
                      adminRoleOf);
}

Result<void> Entitlement::globalDesktops() {
    logSids(L"SID list for entitlements purposes %s");
    return addRecords(result(), L"entitlement", searchGlobal(), globalEntitlementOf);
}

void Entitlement::logSids(std::wstring_view format) const {
    std::wstring list;
    for (const std::wstring& sid : request().texts(key::entitledSids))
        list += (list.empty() ? L"" : L", ") + sid;
    logDebug(format, list);
}

// Fails where the server is down. A server that refuses the bind refuses the search base too, and the answer
// is then the sentence for a base that cannot be opened.
Result<void> Entitlement::checkDirectory() {
    const auto session = directory();
    if (session || session.error().code < platform::ldapServerDown) return {};
    return fail(session.error());
}

Result<SidList> Entitlement::readSids() const {
    auto sids = sidList(request().texts(key::entitledSids));
    if (sids) return sids;
    logError(L"Error: Failed to construct LDAP filter");
    logError(L"%s", sids.error().text);
    return fail(L"Failed to construct LDAP filter");
}

Result<Entitlement::Rows> Entitlement::search(const Query& query) {
    if (const auto checked = checkDirectory(); !checked) return fail(checked.error());
    const auto sids = readSids();
    if (!sids) return fail(sids.error());
    const std::string filter = query.filter(*sids);
    logDebug(L"Filter is %s", filter);
    if (query.baseLine) logDebug(query.baseLine, layout::namingContext);

    platform::DirectoryServices& services = *service().platform().directoryServices;
    const auto base = openQuery(services, configurationPath(layout::namingContext));
    if (!base) return fail(query.openFailed);
    if (sids->empty()) return Rows();  // "(|)" matches nothing, and some directories refuse it
    auto rows = queryRows(**base, QueryScope::subtree, filter, query.attributes);
    if (!rows) return fail(query.searchFailed);
    return rows;
}

Result<Entitlement::Rows> Entitlement::searchGlobal() {
    const auto sids = readSids();
    if (!sids) return fail(sids.error());
    const std::string filter = globalAssignmentFilter(*sids);
    const std::string base = layout::underGlobal(layout::container::entitlements);
    logDebug(L"Filter is %s", filter);
    logDebug(L"BaseDn is %s", base);

    platform::DirectoryServices& services = *service().platform().directoryServices;
    const auto layer = openQuery(services, federationPath(base));
    if (!layer) return fail(noEntitlements);
    if (sids->empty()) return Rows();
    const auto assignments =
        queryRows(**layer, QueryScope::subtree, filter, {layout::attribute::globalEntitlement});
    if (!assignments) return fail(noSearch);
    return assignedEntitlements(**layer, *assignments);
}

}  // namespace wsadmin
