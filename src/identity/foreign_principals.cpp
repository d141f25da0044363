#include "identity/foreign_principals.h"

#include <array>
#include <utility>

#include "identity/account_lookup.h"
#include "identity/identity_keys.h"
#include "identity/principals.h"
#include "identity/user_information.h"
#include "ldap/layout.h"
#include "ldap/name_value.h"
#include "platform/ldap/ldap_text.h"
#include "platform/ldap/lost_connection.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using CORE::PropertyBag;
using platform::LdapEntry;
using platform::LdapSession;
using platform::Sid;

namespace {

std::string shownName(const PropertyBag& information) {
    const std::string account(information.utf8(L"account-name"));
    const std::string domain(information.utf8(L"domain-full"));
    return domain.empty() ? account : domain + "\\" + account;
}

// Name and value of each pair, in the order in which they are written.
std::array<std::pair<std::string_view, std::string>, 8> identityPairs(const PropertyBag& information) {
    const auto text = [&information](const wchar_t* key) { return std::string(information.utf8(key)); };
    return {{{"USER", text(L"account-name")},
             {"DOMAIN", text(L"domain-full")},
             {"EMAIL", text(L"mail")},
             {"DISPLAYNAME", shownName(information)},
             {"GIVENNAME", text(L"given-name")},
             {"SN", text(L"sn")},
             {"CN", text(L"cn")},
             {"DISTINGUISHEDNAME", text(L"dn")}}};
}

// Reads the first page only: its cookie is never sent back.
Result<std::vector<LdapEntry>> firstPrincipals(LdapSession& session) {
    const platform::LdapControl page{.oid = platform::controls::pagedResults,
                                     .value = platform::encodePageControl({principalsPerPage, {}}),
                                     .critical = true};
    auto found = session.search({.base = layout::under(layout::container::principals),
                                 .scope = platform::LdapScope::subtree,
                                 .filter = "(&(objectclass=foreignSecurityPrincipal)(cn=*))",
                                 .attributes = {layout::attribute::cn, layout::attribute::description},
                                 .controls = {page}});
    if (found) return std::move(found->entries);
    logError(L"Failed to search - %s %s (%d).", layout::under(layout::container::principals),
             found.error().text, found.error().code);
    return fail(found.error());
}

std::vector<std::optional<Sid>> sidsOf(const std::vector<LdapEntry>& principals) {
    std::vector<std::optional<Sid>> sids;
    sids.reserve(principals.size());
    for (const LdapEntry& principal : principals)
        sids.push_back(Sid::parse(principal.first(layout::attribute::cn)));
    return sids;
}

std::vector<Sid> validSids(const std::vector<std::optional<Sid>>& sids) {
    std::vector<Sid> all;
    for (const auto& sid : sids)
        if (sid) all.push_back(*sid);
    return all;
}

PropertyBag informationOf(const UserInformation& user, std::string_view principal,
                          const platform::Clock& clock) {
    PropertyBag information = renderUserInformation(user, clock);
    information.set(L"fspDN", principal);
    return information;
}

Result<LdapEntry> readPrincipal(LdapSession& session, const std::string& dn) {
    auto found = session.search({.base = dn,
                                 .scope = platform::LdapScope::base,
                                 .filter = "(objectclass=*)",
                                 .attributes = {layout::attribute::description}});
    if (!found) {
        logError(L"Failed to find FSP - %s %s (%d).", dn, found.error().text, found.error().code);
        return fail(found.error().code, L"FSP not found");
    }
    if (found->entries.empty()) return fail(L"FSP entry not found");
    return std::move(found->entries.front());
}

}  // namespace

Result<void> updateFsp(LdapSession& session, const PropertyBag& information, const LdapEntry* entry) {
    const std::string dn(information.utf8(L"fspDn"));
    if (dn.empty()) return fail(L"No FSP DN was specified for the operation");
    LdapEntry read;
    if (!entry) {
        auto found = readPrincipal(session, dn);
        if (!found) return fail(found.error());
        read = std::move(*found);
        entry = &read;
    }
    for (const auto& [name, value] : identityPairs(information)) {
        const int code = setNameValue(session, *entry, layout::attribute::description, name, value).code;
        if (code == platform::ldapNoSuchObject) return fail(code, L"FSP entry not found");
        if (platform::isConnectionLost(code)) return fail(code, L"LDAP not initialized");
    }
    return {};
}

Result<void> ForeignPrincipals::updateAll() {
    const auto session = directory();
    if (!session) return fail(session.error());
    const auto principals = firstPrincipals(**session);
    if (!principals)
        return fail(L"Failed to search for Foreign Security Principals - " + principals.error().text);

    const auto sids = sidsOf(*principals);
    const auto users = readUsers(domains(), validSids(sids));  // in batches: no search for each principal
    bool lost = false;  // the connection: nothing more is sent, as each call might take the whole time-out
    for (std::size_t i = 0; i < sids.size(); ++i) {
        const LdapEntry& principal = (*principals)[i];
        const std::string_view cn = principal.first(layout::attribute::cn);
        const auto user = sids[i] ? users.find(*sids[i]) : users.end();
        if (user == users.end()) {
            logWarning(L"Failed to get AD user details for SID %s", cn);
            continue;
        }
        logDebug(L"AD user details obtained for SID %s", cn);
        const PropertyBag information =
            informationOf(user->second, principal.dn, *service().platform().clock);
        const auto updated =
            lost ? fail(L"LDAP not initialized") : updateFsp(**session, information, &principal);
        if (updated) continue;
        logWarning(L"Failed to update user entry for SID %s", cn);
        lost = lost || platform::isConnectionLost(updated.error().code);
    }
    return {};
}

Result<void> ForeignPrincipals::updateSingle() {
    const CORE::wstr username = request().text(key::fspUsername);
    const auto sid = usernameToSid(domains(), *accountsOf(domains()), username);
    if (!sid) return fail(L"Cannot find user " + username.str());
    logDebug(L"SID %s found for user %s", sid->text(), username);
    const std::string dn = principalDn(*sid);
    logDebug(L"FSP DN = %s", dn);

    const auto notUpdated = [](Failure why) {
        why.text = L"Failed to update FSP (" + why.text + L")";
        return fail(std::move(why));
    };
    const auto user = readUser(domains(), *sid);
    if (!user) return notUpdated({.text = L"Unable to obtain user information from Active Directory"});
    const auto session = directory();
    if (!session)
        return notUpdated({session.error().code, L"LDAP not initialized", session.error().directoryCode});
    auto updated = updateFsp(**session, informationOf(*user, dn, *service().platform().clock));
    if (!updated) return notUpdated(std::move(updated.error()));
    return {};
}

}  // namespace wsadmin
