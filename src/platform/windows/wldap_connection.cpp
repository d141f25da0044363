#include "platform/windows/wldap_connection.h"

#include <rpc.h>
#define SECURITY_WIN32
#include <sspi.h>
// After sspi.h:
#include <schannel.h>

#include <algorithm>

#include "platform/ldap/ldap_transport.h"
#include "platform/ldap/library_session.h"
#include "platform/module/topic_log.h"
#include "platform/text/network_address.h"
#include "platform/windows/wide_secret.h"

namespace wsadmin::platform::windows {

namespace {

// Codes beyond those of LDAP come from the network layers: the server cannot be reached.
int ldapCodeOf(ULONG code) noexcept {
    return code <= LDAP_REFERRAL_LIMIT_EXCEEDED ? static_cast<int>(code) : ldapServerDown;
}

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// For limits that the client takes in whole seconds, 0 meaning none.
ULONG toSeconds(milliseconds time) noexcept {
    return static_cast<ULONG>(std::max<milliseconds::rep>((time.count() + 999) / 1000, 1));
}

milliseconds leftOf(const LdapWait& wait) noexcept {
    return std::chrono::duration_cast<milliseconds>(wait.until - steady_clock::now());
}

BOOLEAN LDAPAPI acceptAnyCertificate(PLDAP, PCCERT_CONTEXT) {
    return TRUE;
}

unsigned short* identityText(std::wstring& text) noexcept {
    return text.empty() ? nullptr : reinterpret_cast<unsigned short*>(text.data());
}

// After a call that reports failure by null or -1 instead of a code.
Failure lastLdapFailure() {
    const ULONG code = LdapGetLastError();
    return failureOf(code == LDAP_SUCCESS ? static_cast<ULONG>(LDAP_SERVER_DOWN) : code);
}

}  // namespace

Failure failureOf(ULONG code) {
    return ldapFailure(ldapCodeOf(code));
}

Result<std::shared_ptr<LdapConnection>> LdapConnection::open(const LdapEndpoint& endpoint,
                                                             std::shared_ptr<const LdapStop> stop) {
    // The client uses the machine's certificate store and takes no CA file.
    if (!endpoint.caFile.empty()) return fail(ldapFailure(ldapNotSupported));
    std::wstring host = CORE::toWide(hostOf(endpoint));
    // Without brackets the client would take a colon of the address for the one before a port.
    if (host.find(L':') != std::wstring::npos) host = L'[' + host + L"]:" + std::to_wstring(endpoint.port);
    UniqueLdap handle(endpoint.tls ? ldap_sslinitW(host.data(), endpoint.port, 1)
                                   : ldap_initW(host.data(), endpoint.port));
    if (!handle) return fail(lastLdapFailure());
    std::shared_ptr<LdapConnection> connection(
        new LdapConnection(std::move(handle), endpoint, std::move(stop)));
    if (const ULONG code = connection->setOptions(); code != LDAP_SUCCESS) return fail(failureOf(code));
    return connection;
}

ULONG LdapConnection::setOptions() const {
    LDAP* handle = handle_.get();
    ULONG version = LDAP_VERSION3;
    if (const ULONG code = ldap_set_optionW(handle, LDAP_OPT_VERSION, &version); code != LDAP_SUCCESS)
        return code;
    // LDAP_OPT_OFF itself: a pointer to a 0 would switch it on.
    if (const ULONG code = ldap_set_optionW(handle, LDAP_OPT_REFERRALS, LDAP_OPT_OFF); code != LDAP_SUCCESS)
        return code;
    // Optional, because older clients lack them: no domain lookup of the host name, no automatic
    // reconnection, a send timeout.
    ULONG seconds = toSeconds(endpoint_.operationTimeout);
    ldap_set_optionW(handle, LDAP_OPT_AREC_EXCLUSIVE, LDAP_OPT_ON);
    ldap_set_optionW(handle, LDAP_OPT_AUTO_RECONNECT, LDAP_OPT_OFF);
    ldap_set_optionW(handle, LDAP_OPT_SEND_TIMEOUT, &seconds);
    return endpoint_.tls ? setTlsOptions() : static_cast<ULONG>(LDAP_SUCCESS);
}

// Not without TLS: some clients refuse the option.
ULONG LdapConnection::setTlsOptions() const {
    if (endpoint_.verifyCertificate) return LDAP_SUCCESS;
    return ldap_set_optionW(handle_.get(), LDAP_OPT_SERVER_CERTIFICATE,
                            reinterpret_cast<void*>(&acceptAnyCertificate));
}

Result<void> LdapConnection::bind(const LdapCredentials& credentials) {
    auto bound = connectAndBind(credentials);
    // The client has one code for both.
    if (!bound && endpoint_.tls && bound.error().code == ldapServerDown)
        return fail(tlsFailed(endpoint_, L"the server cannot be reached, or this machine does not trust it"));
    return bound;
}

Result<void> LdapConnection::connectAndBind(const LdapCredentials& credentials) {
    const LdapWait wait{.until = steady_clock::now() + endpoint_.connectTimeout};
    if (auto more = stop_->check(wait); !more) return more;
    l_timeval time = timevalOf<Library>(endpoint_.connectTimeout);
    if (const ULONG code = ldap_connect(handle_.get(), &time); code != LDAP_SUCCESS)
        return fail(failureOf(code));
    const bool anonymous = credentials.method == LdapCredentials::Method::anonymous;
    const bool simple = !anonymous && bindsSimply(credentials);
    if (auto ok = endpoint_.tls ? checkTlsVersion() : protect(simple, credentials.user); !ok) return ok;
    if (anonymous) {
        std::wstring nobody;
        return bindSimply({}, nobody, wait);
    }
    if (!simple) {
        if (auto ok = awaitAnswer(wait); !ok) return ok;
        return negotiate(credentials, wait);
    }
    WideSecret password(credentials.password.view());
    return bindSimply(CORE::toWide(simpleBindName(credentials)), password.text(), wait);
}

// The least version can be set for the whole machine only, so what was agreed upon is looked at.
Result<void> LdapConnection::checkTlsVersion() const {
    SecPkgContext_ConnectionInfo info{};
    if (ldap_get_optionW(handle_.get(), LDAP_OPT_SSL_INFO, &info) != LDAP_SUCCESS)
        return fail(tlsFailed(endpoint_, L"the TLS version cannot be read"));
    if ((info.dwProtocol & (SP_PROT_TLS1_2_CLIENT | SP_PROT_TLS1_3_CLIENT)) != 0) return {};
    return fail(tlsFailed(endpoint_, L"the server speaks no TLS 1.2"));
}

// The client's call for StartTLS has a timeout of its own, some thirty seconds. LDAP_OTHER with a code of the
// server is the server's refusal. Any other failure may be a handshake that somebody on the way spoils to get
// at the password: nothing is sent after it.
Result<void> LdapConnection::protect(bool simple, std::string_view user) {
    const BindProtection needed = protectionOf(endpoint_, simple);
    if (needed.startTls) {
        if (const ULONG code = setTlsOptions(); code != LDAP_SUCCESS) return fail(failureOf(code));
        ULONG said = LDAP_SUCCESS;
        const ULONG code = ldap_start_tls_sW(handle_.get(), &said, nullptr, nullptr, nullptr);
        startedTls_ = code == LDAP_SUCCESS;
        if (startedTls_) return checkTlsVersion();
        if (code != LDAP_OTHER || said == LDAP_SUCCESS)
            return fail(tlsFailed(endpoint_, ldapErrorText(ldapCodeOf(code))));
        if (!needed.inClear) return fail(startTlsRefused(endpoint_, ldapErrorText(ldapCodeOf(said))));
    }
    if (!needed.inClear) return fail(passwordInClear(endpoint_));
    if (simple && !isThisMachine(endpoint_.host)) warnOfPasswordInClear(endpoint_, user);
    return {};
}

Result<void> LdapConnection::bindSimply(const std::wstring& name, std::wstring& password,
                                        const LdapWait& wait) const {
    if (password.find(L'\0') != std::wstring::npos) return fail(ldapFailure(ldapParamError));
    std::wstring user = name;
    const ULONG id = ldap_simple_bindW(handle_.get(), user.empty() ? nullptr : user.data(),
                                       password.empty() ? nullptr : password.data());
    if (id == static_cast<ULONG>(-1)) return fail(lastLdapFailure());
    return finish(id, wait);
}

// A negotiated bind takes no timeout, so a search of the root entry with a timeout goes first: a server that
// answers it in any way is alive and speaks LDAP.
Result<void> LdapConnection::awaitAnswer(const LdapWait& wait) const {
    wchar_t root[] = L"";
    wchar_t filter[] = L"(objectClass=*)";
    wchar_t noAttribute[] = L"1.1";
    wchar_t* attributes[] = {noAttribute, nullptr};
    ULONG id = 0;
    const ULONG sent = ldap_search_extW(handle_.get(), root, LDAP_SCOPE_BASE, filter, attributes, 0, nullptr,
                                        nullptr, toSeconds(leftOf(wait)), 0, &id);
    if (sent != LDAP_SUCCESS) return fail(failureOf(sent));
    while (true) {
        const auto message = receive(id, wait);
        if (!message) return fail(message.error());
        if (message->type == LDAP_RES_SEARCH_RESULT) return {};
    }
}

Result<void> LdapConnection::negotiate(const LdapCredentials& credentials, const LdapWait& wait) const {
    std::wstring user = CORE::toWide(credentials.user);
    std::wstring domain = CORE::toWide(credentials.domain);
    if (const auto slash = user.find(L'\\'); slash != std::wstring::npos) {
        domain = user.substr(0, slash);
        user.erase(0, slash + 1);
    }
    WideSecret password(credentials.password.view());
    SEC_WINNT_AUTH_IDENTITY_W identity{};
    identity.User = identityText(user);
    identity.UserLength = static_cast<ULONG>(user.size());
    identity.Domain = identityText(domain);
    identity.DomainLength = static_cast<ULONG>(domain.size());
    identity.Password = identityText(password.text());
    identity.PasswordLength = static_cast<ULONG>(password.text().size());
    identity.Flags = SEC_WINNT_AUTH_IDENTITY_UNICODE;

    // Only the synchronous call exchanges the several messages of this bind. It obeys the handle's time
    // limit, which is reset afterwards.
    ULONG seconds = toSeconds(leftOf(wait));
    ULONG none = 0;
    ldap_set_optionW(handle_.get(), LDAP_OPT_TIMELIMIT, &seconds);
    wchar_t* credential = user.empty() ? nullptr : reinterpret_cast<wchar_t*>(&identity);
    const ULONG code = ldap_bind_sW(handle_.get(), nullptr, credential, LDAP_AUTH_NEGOTIATE);
    ldap_set_optionW(handle_.get(), LDAP_OPT_TIMELIMIT, &none);
    if (code != LDAP_SUCCESS) return fail(failureOf(code));
    return {};
}

Result<LdapMessage> LdapConnection::receive(ULONG id, const LdapWait& wait) const {
    const auto poll = [&](milliseconds slice) -> Result<std::optional<LdapMessage>> {
        l_timeval time = timevalOf<Library>(slice);
        LDAPMessage* message = nullptr;
        const ULONG type = ldap_result(handle_.get(), id, LDAP_MSG_ONE, &time, &message);
        if (type == static_cast<ULONG>(-1)) return fail(lastLdapFailure());
        if (type == 0) return std::optional<LdapMessage>();
        return LdapMessage{static_cast<int>(type), UniqueLdapMessage(message)};
    };
    auto message = pollUntil(wait, *stop_, poll);
    if (message) return std::move(**message);
    abandon(id);
    return fail(message.error());
}

void LdapConnection::abandon(ULONG id) const noexcept {
    ldap_abandon(handle_.get(), id);
}

Result<void> LdapConnection::finish(ULONG id, const LdapWait& wait) const {
    const auto message = receive(id, wait);
    if (!message) return fail(message.error());
    return outcome(*message);
}

Result<void> LdapConnection::outcome(const LdapMessage& message, std::vector<LdapControl>* controls) const {
    ULONG code = LDAP_SUCCESS;
    wchar_t* text = nullptr;
    LDAPControlW** found = nullptr;
    const ULONG parsed = ldap_parse_resultW(handle_.get(), message.message.get(), &code, nullptr, &text,
                                            nullptr, &found, FALSE);
    const UniqueLdapText said(text);
    const UniqueLdapControls owner(found);
    if (parsed != LDAP_SUCCESS) return fail(failureOf(parsed));
    if (!isSuccess(static_cast<int>(code), controls != nullptr))
        return fail(
            ldapFailure(ldapCodeOf(code), said ? std::wstring_view(said.get()) : std::wstring_view()));
    if (controls) appendControls<Library>(found, *controls);
    return {};
}

}  // namespace wsadmin::platform::windows
