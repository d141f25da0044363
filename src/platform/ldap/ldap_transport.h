// What has to happen on a connection before a bind, so that no password leaves the machine in the clear.
// Plain decisions, the same for every client library.
#pragma once

#include <string_view>

#include "platform/ldap_session.h"

namespace wsadmin::platform {

struct BindProtection {
    bool startTls = false;  // ask the server for it first
    bool inClear = false;   // the bind may go on without TLS
};
// `simple`: the bind sends the password itself.
BindProtection protectionOf(const LdapEndpoint& endpoint, bool simple);

// Why there is no bind. Each is logged as an error, because callers often show the code alone.
Failure passwordInClear(const LdapEndpoint& endpoint);
Failure startTlsRefused(const LdapEndpoint& endpoint, std::wstring_view said);
Failure tlsFailed(const LdapEndpoint& endpoint, std::wstring_view said);
// A password goes out in the clear because the configuration allows it.
void warnOfPasswordInClear(const LdapEndpoint& endpoint, std::string_view user);

}  // namespace wsadmin::platform
