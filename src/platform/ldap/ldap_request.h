// What an adapter does to a request before an LDAP client library gets it, and with what comes back: lax
// texts become strict ones, and what no library could carry is refused. The same on every platform.
#pragma once

#include <string>
#include <string_view>

#include "platform/ldap_session.h"

namespace wsadmin::platform {

// 89 for a host that is no name and no address.
Result<void> checkEndpoint(const LdapEndpoint& endpoint);
// The host to connect to, "localhost" for this server.
std::string hostOf(const LdapEndpoint& endpoint);

// Credentials that would bind as nobody by accident are refused: 49 for a user without a password.
Result<void> checkCredentials(const LdapCredentials& credentials);
// Whether the bind has to be a simple one: asked for, or the user is a DN, which no other method knows.
bool bindsSimply(const LdapCredentials& credentials);
// The name of a simple bind: the user as it is where it says its domain itself (a DN, user@domain,
// DOMAIN\user), else joined with the domain.
std::string simpleBindName(const LdapCredentials& credentials);
// The name of the account that binds, in the same forms or bare. Empty where they name none: for a DN, for
// nobody, and for the identity of the process.
std::string accountOf(const LdapCredentials& credentials);

// A name in the standard's spelling; one that is no name stays as it is, for the server to judge (34 when it
// cannot even be sent).
Result<std::string> wireDn(std::string_view dn);
// With strict filter (87) and base; 89 for an attribute name that cannot be sent.
Result<LdapSearch> wireSearch(const LdapSearch& search);
Result<LdapEntry> wireEntry(const LdapEntry& entry);
Result<void> checkModifications(const std::vector<LdapModification>& changes);

// Of a search, partial results are a success too: what other servers have is no reason to drop the rest.
bool isSuccess(int code, bool ofSearch) noexcept;
// A failure with the server's own words, which go into the log where there are any.
Failure ldapFailure(int code, std::wstring_view said);

}  // namespace wsadmin::platform
