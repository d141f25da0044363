#include "federation/pod_servers.h"

#include "federation/local_layer.h"
#include "federation/names.h"
#include "federation/state.h"
#include "ldap/directory_query.h"
#include "ldap/layout.h"
#include "platform/ldap/sid.h"
#include "platform/module/module_log.h"

namespace wsadmin::qrv {

namespace {

using platform::SearchPreference;

// Connection servers below a base. Security servers, which stand there too, are left out.
struct ServerSearch {
    std::string base;
    QueryScope scope;
    std::string condition;  // more of the filter
    std::vector<std::string> attributes;
    const wchar_t* unprepared;
};

// Failure: the sentence of the step, logged.
Result<std::vector<DirectoryRow>> serversOf(platform::Platform& platform, const ServerSearch& search) {
    const auto failed = [&](const wchar_t* sentence, const Failure& cause) {
        const std::wstring text = CORE::formatText(sentence, search.base);
        logError(L"%s", text);
        return fail(cause.code, text);
    };
    const auto base = platform.directoryServices->openSearch(localPath(platform, search.base), {},
                                                             platform::adsSecureAuthentication);
    if (!base) return failed(L"Unable to open base '%s'", base.error());
    auto set = (*base)->setPreference(SearchPreference::scope, static_cast<int>(search.scope));
    if (set) set = (*base)->setPreference(SearchPreference::pageSize, queryPageSize);
    if (!set) return failed(search.unprepared, set.error());
    auto rows = readRows(
        **base, "(&(objectClass=zre-HDQProperties)(!zre-HDQSecurityServer=1)" + search.condition + ")",
        search.attributes);
    if (!rows) return failed(L"Unable to search base '%s'", rows.error());
    return rows;
}

}  // namespace

Result<bool> allServersAreRecent(platform::Platform& platform) {
    logDebug(L"Checking connection server functional levels");
    const auto rows = serversOf(platform, {.base = layout::under(layout::container::brokers),
                                           .scope = QueryScope::oneLevel,
                                           .condition = {},
                                           .attributes = {layout::attribute::cn, attribute::version},
                                           .unprepared = L"Unable to set search preference for '%s'"});
    if (!rows) return fail(rows.error());
    bool recent = true;
    for (const DirectoryRow& row : *rows) {
        // As a text, because some servers tell no types.
        const int version = CORE::mstr(row.text(attribute::version)).toInt();
        if (version >= leastVersion) continue;
        recent = false;
        logError(L"Version number too low on %s: %d", row.text(layout::attribute::cn), version);
    }
    return recent;
}

Result<std::vector<std::string>> sidsOfServers(platform::Platform& platform, int flag) {
    const auto rows =
        serversOf(platform, {.base = layout::under(layout::container::federatedServers),
                             .scope = QueryScope::subtree,
                             .condition = "(zre-QuorinEnabled=" + std::to_string(flag) + ")(zre-SIDString=*)",
                             .attributes = {layout::attribute::ownerSid},
                             .unprepared = L"Unable to set search preference '%s'"});
    if (!rows) return fail(rows.error());
    std::vector<std::string> sids;
    std::string listed;
    for (const DirectoryRow& row : *rows) {
        const std::string sid = row.text(layout::attribute::ownerSid);
        listed += (listed.empty() ? "" : ", ") + sid;
        if (platform::Sid::parse(sid))
            sids.push_back(sid);
        else
            logWarning(L"%s is no SID of a connection server", sid);
    }
    logVerbose(L"List of server SIDs with QRV role %s: %s", flag == enabled ? L"enabled" : L"disabled",
               listed);
    return sids;
}

}  // namespace wsadmin::qrv
