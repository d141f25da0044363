#include "maintenance/cserver.h"

#include "ldap/layout.h"
#include "ldap/modify.h"
#include "ldap/search.h"
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

std::string CServer::findServer(platform::LdapSession& session, const CORE::wstr& name) {
    const std::wstring absent = L"Server \"" + name.str() + L"\" is not present in this configuration.";
    if (name.empty()) {
        fail(absent);
        return {};
    }
    const std::string base = layout::serverEntry(name.to_mstr().str());
    const auto found = readEntry(session, base);
    if (!found) {
        if (found.error().code == platform::ldapNoSuchObject)
            fail(absent);
        else
            fail(L"Failed to search for entry \"" + toWide(base) + L"\" - " + found.error().text);
        return {};
    }
    if (found->empty()) {
        fail(L"Entry for \"" + toWide(base) + L"\" not found.");
        return {};
    }
    if (found->front().dn.empty()) fail(L"Failed to get DN for entry \"" + toWide(base));
    return found->front().dn;
}

bool CServer::isReferenced(platform::LdapSession& session, const CORE::wstr& name, const std::string& dn) {
    const std::string filter = "(&(" + std::string(layout::attribute::securityServer) + "=1)(" +
                               layout::attribute::connectionServerDn + "=" + platform::escapeFilterValue(dn) +
                               "))";
    const auto referrers = searchSubtree(session, layout::under(layout::container::servers), filter);
    if (!referrers) {
        // Nobody knows whether it is referenced: better not removed than a security server without its
        // partner.
        fail(referrers.error().text);
        return true;
    }
    if (referrers->empty()) return false;
    std::vector<std::wstring> names;
    for (const auto& entry : *referrers) names.push_back(toWide(entry.first(layout::attribute::cn)));
    fail(referencedSentence(name, names));
    return true;
}

void CServer::deleteConnectionServerEntry() {
    const CORE::wstr name = request().get(L"servername");
    platform::LdapSession* session = directory();
    if (!session) return;
    const std::string dn = findServer(*session, name);
    if (dn.empty() || isReferenced(*session, name, dn)) return;

    const std::string copy = layout::federationCopy(dn);
    const auto mark = [session](const std::string& entry, LdapModify operation) {
        return modifyAttribute(*session, entry, operation, layout::attribute::markedForDelete, {"1"});
    };
    static_cast<void>(mark(dn, LdapModify::add));
    static_cast<void>(mark(copy, LdapModify::add));
    const auto marked = mark(dn, LdapModify::replace);
    if (!marked)
        return fail(L"Failed to mark entry for delete - " + marked.error().text + L" (" +
                    std::to_wstring(marked.error().code) + L").");
    static_cast<void>(mark(copy, LdapModify::replace));
    result().set(L"textmessage",
                 L"The specified Server has been scheduled for removal from this configuration.");
}

}  // namespace wsadmin
