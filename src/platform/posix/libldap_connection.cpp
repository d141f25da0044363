#include "platform/posix/libldap_connection.h"

#include "platform/ldap/library_session.h"

namespace wsadmin::platform::posix {

namespace {

using std::chrono::milliseconds;

std::string uriOf(const LdapEndpoint& endpoint) {
    std::string host = hostOf(endpoint);
    if (host.find(':') != std::string::npos) {
        // The "%" before a zone is part of an address, not an escape of the URI.
        if (const auto zone = host.find('%'); zone != std::string::npos) host.replace(zone, 1, "%25");
        host = '[' + host + ']';
    }
    return (endpoint.tls ? "ldaps://" : "ldap://") + host + ':' + std::to_string(endpoint.port);
}

struct ControlsFreer {
    void operator()(LDAPControl** controls) const noexcept { ldap_controls_free(controls); }
};
struct LdapTextFreer {
    void operator()(char* text) const noexcept { ldap_memfree(text); }
};
using LdapText = std::unique_ptr<char, LdapTextFreer>;

}  // namespace

int ldapCodeOf(int libraryCode) noexcept {
    if (libraryCode >= 0) return libraryCode;
    const int code = 80 - libraryCode;  // -1 is 81, -2 is 82 and so on
    return code <= ldapReferralLimitExceeded ? code : ldapServerDown;
}

Result<std::shared_ptr<LdapConnection>> LdapConnection::open(const LdapEndpoint& endpoint) {
    LDAP* handle = nullptr;
    if (const int code = ldap_initialize(&handle, uriOf(endpoint).c_str()); code != LDAP_SUCCESS)
        return fail(ldapFailure(ldapCodeOf(code)));
    std::shared_ptr<LdapConnection> connection(new LdapConnection(handle, endpoint));
    if (const int code = connection->setOptions(); code != LDAP_OPT_SUCCESS)
        return fail(ldapFailure(endpoint.tls ? ldapConnectError : ldapLocalError));
    return connection;
}

LdapConnection::~LdapConnection() {
    const PipeSignalBlock noSignal;
    ldap_unbind_ext(handle_, nullptr, nullptr);
}

int LdapConnection::setOptions() {
    const int version = LDAP_VERSION3;
    const int none = 0;
    const timeval connect = timevalOf<Library>(endpoint_.connectTimeout);
    const timeval operation = timevalOf<Library>(endpoint_.operationTimeout);
    const struct {
        int option;
        const void* value;
    } options[] = {
        {LDAP_OPT_PROTOCOL_VERSION, &version},
        {LDAP_OPT_REFERRALS, LDAP_OPT_OFF},
        {LDAP_OPT_RESTART, LDAP_OPT_ON},  // a signal that the host handles (EINTR) does not fail a call
        {LDAP_OPT_NETWORK_TIMEOUT, &connect},
        {LDAP_OPT_TIMEOUT, &operation},
        {LDAP_OPT_TIMELIMIT, &none},  // whatever the machine's ldap.conf says
        {LDAP_OPT_SIZELIMIT, &none},
        {LDAP_OPT_DEREF, &none},
        // The service ticket is for the configured host name; canonicalising it by reverse DNS would let
        // whoever answers DNS choose another one.
        {LDAP_OPT_X_SASL_NOCANON, LDAP_OPT_ON},
    };
    for (const auto& [option, value] : options)
        if (const int code = ldap_set_option(handle_, option, value); code != LDAP_OPT_SUCCESS) return code;
    return endpoint_.tls ? setTlsOptions() : LDAP_OPT_SUCCESS;
}

int LdapConnection::setTlsOptions() const {
    // Without this libldap loops forever on a server that stays silent in the TLS handshake, despite the
    // timeout.
    ldap_set_option(handle_, LDAP_OPT_CONNECT_ASYNC, LDAP_OPT_ON);
    const int verify = endpoint_.verifyCertificate ? LDAP_OPT_X_TLS_DEMAND : LDAP_OPT_X_TLS_NEVER;
    int code = ldap_set_option(handle_, LDAP_OPT_X_TLS_REQUIRE_CERT, &verify);
    if (code == LDAP_OPT_SUCCESS && !endpoint_.caFile.empty())
        code = ldap_set_option(handle_, LDAP_OPT_X_TLS_CACERTFILE, endpoint_.caFile.c_str());
    // Makes the options above take effect; last, and for this connection only.
    const int none = 0;
    if (code == LDAP_OPT_SUCCESS) code = ldap_set_option(handle_, LDAP_OPT_X_TLS_NEWCTX, &none);
    return code;
}

Result<bool> LdapConnection::startTls(milliseconds limit) const {
    if (setTlsOptions() != LDAP_OPT_SUCCESS) return fail(ldapFailure(ldapConnectError));
    int id = 0;
    if (const int code = ldap_start_tls(handle_, nullptr, nullptr, &id); code != LDAP_SUCCESS)
        return fail(failure(code));
    const auto answer = receive(id, limit);
    if (!answer) return fail(answer.error());
    if (!outcome(*answer)) return false;
    if (const int code = ldap_install_tls(handle_); code != LDAP_SUCCESS) return fail(failure(code));
    return true;
}

Result<int> LdapConnection::sent(int code, int id) const {
    if (code != LDAP_SUCCESS) return fail(failure(code));
    return id;
}

Result<LdapMessage> LdapConnection::receive(int id, milliseconds limit) const {
    timeval time = timevalOf<Library>(limit);
    LDAPMessage* message = nullptr;
    const int type = ldap_result(handle_, id, LDAP_MSG_ONE, &time, &message);
    if (type > 0) return LdapMessage{type, {message, {}}};
    if (type == 0) {
        abandon(id);
        return fail(ldapFailure(ldapTimeout));
    }
    int code = LDAP_SERVER_DOWN;
    ldap_get_option(handle_, LDAP_OPT_RESULT_CODE, &code);
    return fail(failure(code == LDAP_SUCCESS ? LDAP_SERVER_DOWN : code));
}

Result<void> LdapConnection::finish(int id, milliseconds limit) const {
    const auto message = receive(id, limit);
    if (!message) return fail(message.error());
    return outcome(*message);
}

Result<void> LdapConnection::outcome(const LdapMessage& message, std::vector<LdapControl>* controls) const {
    int code = LDAP_SUCCESS;
    LDAPControl** found = nullptr;
    const int parsed = ldap_parse_result(handle_, message.message.get(), &code, nullptr, nullptr, nullptr,
                                         &found, /*freeit=*/0);
    const std::unique_ptr<LDAPControl*, ControlsFreer> owner(found);
    if (parsed != LDAP_SUCCESS) return fail(failure(parsed));
    if (!isSuccess(code, controls != nullptr)) return fail(failure(code));
    if (controls) appendControls<Library>(found, *controls);
    return {};
}

void LdapConnection::abandon(int id) const noexcept {
    ldap_abandon_ext(handle_, id, nullptr, nullptr);
}

Failure LdapConnection::failure(int libraryCode) const {
    char* text = nullptr;
    ldap_get_option(handle_, LDAP_OPT_DIAGNOSTIC_MESSAGE, &text);
    const LdapText said(text);
    return ldapFailure(ldapCodeOf(libraryCode), said ? CORE::toWide(said.get()) : std::wstring());
}

}  // namespace wsadmin::platform::posix
