#include "federation/replication_entry.h"

#include "federation/local_layer.h"
#include "federation/names.h"
#include "ldap/directory_query.h"
#include "ldap/layout.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin::qrv {

namespace {

using platform::SearchPreference;

Result<std::vector<DirectoryRow>> entriesNamed(platform::Platform& platform, const SourceServer& source,
                                               const std::string& name) {
    const auto sites = openSites(platform, source);
    if (!sites) return fail(sites.error());
    auto set = sites->search->setPreference(SearchPreference::scope, static_cast<int>(QueryScope::subtree));
    if (set) set = sites->search->setPreference(SearchPreference::pageSize, queryPageSize);
    if (!set) {
        logError(L"Failed to set search preferences for server search (%d)", set.error().code);
        return fail(set.error());
    }
    const std::string filter = "(&(objectClass=server)(cn=" + platform::escapeFilterValue(name) + "))";
    logVerbose(L"Checking for existing replication entry %s", name);
    logVerbose(L"Filter: %s, Base: %s", filter, sites->dn);
    auto rows = readRows(*sites->search, filter, {layout::attribute::distinguishedName, attribute::hostName});
    if (!rows) logError(L"Failed to execute server search (%d)", rows.error().code);
    return rows;
}

void removeEntry(platform::Platform& platform, const SourceServer& source, const std::string& dn) {
    const auto credentials = credentialsOf(source.account);
    const std::string path = instancePath(source.host, dn);
    const auto entry =
        credentials
            ? platform.directoryServices->openObject(path, *credentials, platform::adsSecureAuthentication)
            : Result<std::unique_ptr<platform::DirectoryObject>>(fail(credentials.error()));
    if (!entry) {
        logError(L"Failed to get LDAP object %s (%d)", path, entry.error().code);
        return;
    }
    if (const auto done = (*entry)->deleteObject(); !done) {
        const bool deletes = done.error().code != platform::adsNotImplemented;
        logError(deletes ? L"Failed to call delete on LDAP object %s (%d)"
                         : L"Failed to get LDAP object for delete %s (%d)",
                 path, done.error().code);
        return;
    }
    logVerbose(L"Deleted existing stale replication entry for this server: %s", dn);
}

}  // namespace

Result<void> removeStaleEntry(platform::Platform& platform, const SourceServer& source,
                              const ReplicatingServer& server) {
    const auto rows = entriesNamed(platform, source, server.netBiosName + "$" + CORE::toUtf8(instanceName));
    if (!rows) return fail(rows.error());
    for (const DirectoryRow& row : *rows) {
        const std::string dn = row.text(layout::attribute::distinguishedName),
                          hostName = row.text(attribute::hostName);
        logVerbose(L"Found entry %s: %s", dn, hostName);
        if (!CORE::equalFolded(hostName, server.hostName)) {
            logError(L"Found conflicting replication entry: %s", dn);
            return fail(L"The replication entry " + CORE::toWide(dn) + L" is another machine's");
        }
        removeEntry(platform, source, dn);
    }
    if (rows->empty()) logVerbose(L"Found no matching replication entry, no deletion needed");
    return {};
}

}  // namespace wsadmin::qrv
