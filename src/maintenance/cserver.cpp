#include "maintenance/cserver.h"

#include "ldap/layout.h"
#include "ldap/modify.h"
#include "ldap/search.h"
#include "maintenance/maintenance_keys.h"
#include "platform/ldap/ldap_text.h"

namespace wsadmin {

using CORE::toWide;
using platform::LdapModify;

std::wstring referencedSentence(std::wstring_view serverName,
                                const std::vector<std::wstring>& securityServers) {
    std::wstring sentence = L"Connection Server \"" + std::wstring(serverName) +
                            L"\" cannot be removed as it is referenced by one or more Security Servers.";
    sentence += securityServers.size() == 1 ? L"\" Remove this Security Server first."
                                            : L"\" Remove these Security Servers first.";
    for (const std::wstring& name : securityServers) sentence += L"\n   " + name;
    return sentence;
}

Result<platform::LdapEntry> CServer::findServer(platform::LdapSession& session, const CORE::wstr& name) {
    const std::wstring absent = L"Server \"" + name.str() + L"\" is not present in this configuration.";
    if (name.empty()) return fail(absent);
    return readRequiredEntry(session, layout::serverEntry(name.to_mstr().str()),
                             {.absent = absent, .searched = L"entry"});
}

// A search that fails refuses too: otherwise a security server might lose its partner.
Result<void> CServer::refuseReferenced(platform::LdapSession& session, const CORE::wstr& name,
                                       const std::string& dn) {
    const std::string filter = "(&(" + std::string(layout::attribute::securityServer) + "=1)" +
                               platform::filterTerm(layout::attribute::connectionServerDn, dn) + ")";
    const auto referrers = searchSubtree(session, layout::under(layout::container::servers), filter);
    if (!referrers) return fail(referrers.error());
    if (referrers->empty()) return {};
    std::vector<std::wstring> names;
    for (const auto& entry : *referrers) names.push_back(toWide(entry.first(layout::attribute::cn)));
    return fail(referencedSentence(name, names));
}

Result<void> CServer::deleteConnectionServerEntry() {
    const CORE::wstr name = request().text(key::serverName);
    const auto session = directory();
    if (!session) return fail(session.error());
    const auto entry = findServer(**session, name);
    if (!entry) return fail(entry.error());
    const auto free = refuseReferenced(**session, name, entry->dn);
    if (!free) return free;

    const std::string copy = layout::federationCopy(entry->dn);
    const auto mark = [&session](const std::string& dn, LdapModify operation, OnRefusal refusal) {
        return modifyAttribute(**session, dn, operation, layout::attribute::markedForDelete, {"1"}, refusal);
    };
    static_cast<void>(mark(entry->dn, LdapModify::add, OnRefusal::logsDebug));
    static_cast<void>(mark(copy, LdapModify::add, OnRefusal::logsDebug));
    const auto marked = mark(entry->dn, LdapModify::replace, OnRefusal::logsError);
    if (!marked)
        return fail(L"Failed to mark entry for delete - " + marked.error().text + L" (" +
                    std::to_wstring(marked.error().code) + L").");
    static_cast<void>(mark(copy, LdapModify::replace, OnRefusal::logsDebug));
    result().set(L"textmessage",
                 L"The specified Server has been scheduled for removal from this configuration.");
    return {};
}

}  // namespace wsadmin
