// What the configuration directory holds of client devices: an entry for each client's account, and the
// defaults for new ones. Failures are sentences for the administrator.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ldap/sid.h"
#include "platform/ldap_session.h"

namespace wsadmin {

// Stands for an option that is not given, and for a default that is not set.
inline constexpr std::wstring_view notGiven = L"null";

// A client's account as its settings entry names it.
struct ClientAccount {
    std::string dn;  // of the entry; empty where the directory gives none
    std::wstring clientId;
    std::wstring domain;
    bool hasPassword = false;

    std::wstring qualifiedName() const { return domain + L"\\" + clientId; }
};

struct ClientDefaults {
    std::string dn;      // of their entry
    std::wstring ou;     // notGiven where it is not set, as is
    std::wstring group;  // a logon name
    bool expirePassword = false;
    std::vector<std::wstring> prefixes;  // of accepted identifiers; customPrefix is among them
};

// With the attributes that concern client devices.
Result<std::vector<platform::LdapEntry>> connectionServers(platform::LdapSession& session);

// All of them, and the first one of that identifier.
Result<std::vector<ClientAccount>> allClients(platform::LdapSession& session);
Result<std::optional<ClientAccount>> findClient(platform::LdapSession& session, std::string_view clientId);

// What a truth value says; nothing where the text is none.
std::optional<bool> truthOf(const CORE::wstr& text);

Result<ClientDefaults> readClientDefaults(platform::LdapSession& session);
// The accepted prefixes alone. The failure is the directory's own, and nothing is logged of it.
Result<std::vector<std::wstring>> readClientPrefixes(platform::LdapSession& session);
// The name of the entry that has both.
std::string clientDefaultsDn();

// Adds the entry of an account. Its name is made of the identifier: of two that are added at once the
// directory takes one. The password, which may be empty, is protected already.
Result<void> addClient(platform::LdapSession& session, const ClientAccount& client, const platform::Sid& sid,
                       const std::string& protectedPassword);
Result<void> replaceClientPassword(platform::LdapSession& session, const ClientAccount& client,
                                   const std::string& protectedPassword);

}  // namespace wsadmin
