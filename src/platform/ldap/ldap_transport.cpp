#include "platform/ldap/ldap_transport.h"

#include "framework/core/format.h"
#include "platform/ldap/ldap_request.h"
#include "platform/module/topic_log.h"
#include "platform/text/network_address.h"

namespace wsadmin::platform {

namespace {

Failure told(int code, std::wstring text) {
    logError(L"%s", text);
    return {code, std::move(text)};
}

}  // namespace

BindProtection protectionOf(const LdapEndpoint& endpoint, bool simple) {
    if (endpoint.tls) return {.inClear = true};
    if (endpoint.startTls == StartTls::required) return {.startTls = true};
    if (!simple || isThisMachine(endpoint.host)) return {.inClear = true};
    return {.startTls = endpoint.startTls == StartTls::leavingTheMachine,
            .inClear = endpoint.passwordInClear};
}

Failure passwordInClear(const LdapEndpoint& endpoint) {
    return told(ldapConfidentialityRequired,
                CORE::formatText(L"No password is sent to %s, because the connection has no TLS and "
                                 L"allow-password-in-clear is not set",
                                 hostOf(endpoint)));
}

Failure startTlsRefused(const LdapEndpoint& endpoint, std::wstring_view said) {
    return told(
        ldapConfidentialityRequired,
        CORE::formatText(L"The server %s refuses StartTLS (%s), and nothing is sent to it without TLS",
                         hostOf(endpoint), said));
}

Failure tlsFailed(const LdapEndpoint& endpoint, std::wstring_view said) {
    return told(ldapConnectError,
                CORE::formatText(L"The TLS connection to %s failed: %s", hostOf(endpoint), said));
}

void warnOfPasswordInClear(const LdapEndpoint& endpoint, std::string_view user) {
    logSecurityWarning(L"The password of %s is sent to %s without TLS", user, hostOf(endpoint));
}

}  // namespace wsadmin::platform
