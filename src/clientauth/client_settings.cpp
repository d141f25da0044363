#include "clientauth/client_settings.h"

#include <algorithm>

#include "clientauth/client_identifier.h"
#include "identity/principals.h"
#include "ldap/layout.h"
#include "ldap/modify.h"
#include "ldap/search.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using CORE::toUtf8;
using CORE::toWide;
using platform::LdapEntry;
using platform::LdapSession;

namespace {

namespace attribute = layout::attribute;

const std::vector<std::string> shownAttributes = {attribute::clientUser, attribute::clientDomain,
                                                  attribute::clientPassword};

ClientAccount clientOf(const LdapEntry& entry) {
    return {.dn = entry.dn,
            .clientId = toWide(entry.first(attribute::clientUser)),
            .domain = toWide(entry.first(attribute::clientDomain)),
            .hasPassword = entry.find(attribute::clientPassword) != nullptr};
}

// The search has logged its cause; the administrator gets the directory's text.
tl::unexpected<Failure> searchFailed(const Failure& cause) {
    return fail(cause.code, L"Failed to search - " + platform::ldapErrorText(cause.code));
}

std::wstring orNotGiven(std::string_view value) {
    return value.empty() ? std::wstring(notGiven) : toWide(value);
}

std::vector<std::wstring> prefixesOf(const LdapEntry& entry) {
    std::vector<std::wstring> prefixes;
    for (const std::string& value : entry.all(attribute::clientPrefix))
        if (!value.empty()) prefixes.push_back(toWide(value));
    const auto isCustom = [](const std::wstring& prefix) { return CORE::equalFolded(prefix, customPrefix); };
    if (std::ranges::none_of(prefixes, isCustom)) prefixes.emplace_back(customPrefix);
    return prefixes;
}

}  // namespace

Result<std::vector<LdapEntry>> connectionServers(LdapSession& session) {
    auto found =
        searchAllPages(session, layout::under(layout::container::servers),
                       "(&(objectClass=zre-PropertyObject)(!(zre-HDQSecurityServer=1)))",
                       {attribute::cn, attribute::clientAuthEnabled, attribute::clientAuthPasswordRequired});
    if (!found) return searchFailed(found.error());
    return found;
}

Result<std::vector<ClientAccount>> allClients(LdapSession& session) {
    const auto found = searchAllPages(session, layout::under(layout::container::properties),
                                      "(&(objectclass=zre-ClientAuthSettings-a))", shownAttributes);
    if (!found) return searchFailed(found.error());
    std::vector<ClientAccount> clients;
    std::ranges::transform(*found, std::back_inserter(clients), clientOf);
    return clients;
}

Result<std::optional<ClientAccount>> findClient(LdapSession& session, std::string_view clientId) {
    const std::string filter = "(&(objectclass=zre-ClientAuthSettings-a)" +
                               platform::filterTerm(attribute::clientUser, clientId) + ")";
    const auto found =
        searchSubtree(session, layout::under(layout::container::properties), filter, shownAttributes);
    if (!found) return searchFailed(found.error());
    if (found->empty()) return std::optional<ClientAccount>();
    return clientOf(found->front());
}

std::optional<bool> truthOf(const CORE::wstr& text) {
    const bool value = text.toBool(false);
    return value == text.toBool(true) ? std::optional(value) : std::nullopt;
}

std::string clientDefaultsDn() {
    return layout::under(layout::container::clientDefaults);
}

Result<std::vector<std::wstring>> readClientPrefixes(LdapSession& session) {
    const auto found = session.search({.base = clientDefaultsDn(),
                                       .scope = platform::LdapScope::base,
                                       .filter = "objectClass=*",
                                       .attributes = {attribute::clientPrefix}});
    if (!found) return fail(found.error());
    return prefixesOf(found->entries.empty() ? LdapEntry() : found->entries.front());
}

Result<ClientDefaults> readClientDefaults(LdapSession& session) {
    const auto found = readEntry(session, clientDefaultsDn(), "objectClass=*");
    if (!found) return searchFailed(found.error());
    if (found->empty()) return searchFailed(platform::ldapFailure(platform::ldapNoSuchObject));
    const LdapEntry& entry = found->front();
    return ClientDefaults{
        .dn = entry.dn,
        .ou = orNotGiven(entry.first(attribute::clientDefaultOu)),
        .group = orNotGiven(entry.first(attribute::clientDefaultGroup)),
        .expirePassword = CORE::mstr(entry.first(attribute::clientDefaultExpirePassword)).toBool(false),
        .prefixes = prefixesOf(entry)};
}

Result<void> addClient(LdapSession& session, const ClientAccount& client, const platform::Sid& sid,
                       const std::string& protectedPassword) {
    LdapEntry entry{client.dn,
                    {{attribute::objectClasses,
                      {"zre-Prop", "zre-ClientAuthSettings-a", "zre-NameValuePairs", "zre-NameValuePairs-a"}},
                     // By SID: the directory makes the foreign principal where there is none.
                     {attribute::member, {"<SID=" + sid.text() + ">"}},
                     {attribute::origin, {principalDn(sid)}},
                     {attribute::clientUser, {toUtf8(client.clientId)}},
                     {attribute::clientDomain, {toUtf8(client.domain)}}}};
    if (!protectedPassword.empty())
        entry.attributes.push_back({attribute::clientPassword, {protectedPassword}});
    const auto added = session.add(entry);
    if (added) return {};
    return fail(added.error().code, L"Failed to add client authentication entry " + toWide(client.dn) +
                                        L" (" + added.error().text + L")");
}

Result<void> replaceClientPassword(LdapSession& session, const ClientAccount& client,
                                   const std::string& protectedPassword) {
    const auto replaced = modifyAttribute(session, client.dn, platform::LdapModify::replace,
                                          attribute::clientPassword, {protectedPassword});
    if (replaced) return {};
    return fail(L"Failed to update client authentication LDAP entry " + toWide(client.dn) + L" - " +
                replaced.error().text);
}

}  // namespace wsadmin
