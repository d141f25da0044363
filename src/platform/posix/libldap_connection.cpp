#include "platform/posix/libldap_connection.h"

#include <openldap.h>
#include <unistd.h>

#include "platform/ldap/ldap_transport.h"
#include "platform/ldap/library_session.h"

namespace wsadmin::platform::posix {

namespace {

// Only its host counts: TLS checks the certificate for it, and a ticket is for it.
std::string uriOf(const LdapEndpoint& endpoint) {
    std::string host = hostOf(endpoint);
    if (host.find(':') != std::string::npos) {
        // The "%" before a zone is part of an address, not an escape of the URI.
        if (const auto zone = host.find('%'); zone != std::string::npos) host.replace(zone, 1, "%25");
        host = '[' + host + ']';
    }
    return "ldap://" + host + ':' + std::to_string(endpoint.port);
}

struct ControlsFreer {
    void operator()(LDAPControl** controls) const noexcept { ldap_controls_free(controls); }
};
struct LdapTextFreer {
    void operator()(char* text) const noexcept { ldap_memfree(text); }
};
using LdapText = std::unique_ptr<char, LdapTextFreer>;

std::string tlsPackage() {
    char* text = nullptr;
    ldap_get_option(nullptr, LDAP_OPT_X_TLS_PACKAGE, &text);
    const LdapText name(text);
    return name ? name.get() : std::string();
}

}  // namespace

int ldapCodeOf(int libraryCode) noexcept {
    if (libraryCode >= 0) return libraryCode;
    const int code = 80 - libraryCode;  // -1 is 81, -2 is 82 and so on
    return code <= ldapReferralLimitExceeded ? code : ldapServerDown;
}

Result<std::shared_ptr<LdapConnection>> LdapConnection::open(const LdapEndpoint& endpoint,
                                                             std::shared_ptr<const LdapStop> stop) {
    if (!endpoint.caFile.empty() && access(endpoint.caFile.c_str(), R_OK) != 0)
        return fail(tlsFailed(endpoint, L"the file of trusted certificates cannot be read"));
    return std::shared_ptr<LdapConnection>(new LdapConnection(endpoint, std::move(stop)));
}

LdapConnection::~LdapConnection() {
    if (!handle_) return;
    wire_.allow({});  // what cannot be sent at once is not sent
    ldap_unbind_ext(handle_, nullptr, nullptr);
}

LdapWait LdapConnection::sendingWait() const {
    const auto now = std::chrono::steady_clock::now();
    return {.until = now + (handle_ ? endpoint_.operationTimeout : endpoint_.connectTimeout),
            .bytes = bindBytes};
}

Result<void> LdapConnection::connect(const LdapWait& wait) {
    if (wire_.lost()) return fail(ldapFailure(ldapServerDown));
    if (handle_) return {};
    if (auto ok = wire_.connect(endpoint_, wait); !ok) return ok;
    Sockbuf* messages = nullptr;
    const bool made =
        ldap_init_fd(wire_.socket(), LDAP_PROTO_EXT, uriOf(endpoint_).c_str(), &handle_) == LDAP_SUCCESS &&
        ldap_get_option(handle_, LDAP_OPT_SOCKBUF, &messages) == LDAP_OPT_SUCCESS &&
        wire_.attachTo(messages) && setOptions() == LDAP_OPT_SUCCESS;
    if (!made) {
        wire_.lose(ldapFailure(ldapLocalError));
        return fail(ldapFailure(ldapLocalError));
    }
    ber_len_t longest = static_cast<ber_len_t>(endpoint_.limits.bytes);  // of a message
    ber_sockbuf_ctrl(messages, LBER_SB_OPT_SET_MAX_INCOMING, &longest);
    wire_.allow(wait);
    return endpoint_.tls ? installTls() : Result<void>();
}

int LdapConnection::setOptions() {
    const int version = LDAP_VERSION3;
    const int none = 0;
    const timeval noLimit{-1, 0};
    const struct {
        int option;
        const void* value;
    } options[] = {
        {LDAP_OPT_PROTOCOL_VERSION, &version},
        {LDAP_OPT_REFERRALS, LDAP_OPT_OFF},
        {LDAP_OPT_RESTART, LDAP_OPT_ON},       // a signal that the host handles (EINTR) does not fail a call
        {LDAP_OPT_NETWORK_TIMEOUT, &noLimit},  // the wire has limits of its own
        {LDAP_OPT_TIMELIMIT, &none},           // whatever the machine's ldap.conf says
        {LDAP_OPT_SIZELIMIT, &none},
        {LDAP_OPT_DEREF, &none},
        // The service ticket is for the configured host name; canonicalising it by reverse DNS would let
        // whoever answers DNS choose another one.
        {LDAP_OPT_X_SASL_NOCANON, LDAP_OPT_ON},
    };
    for (const auto& [option, value] : options)
        if (const int code = ldap_set_option(handle_, option, value); code != LDAP_OPT_SUCCESS) return code;
    return LDAP_OPT_SUCCESS;
}

int LdapConnection::setTlsOptions() const {
    const int verify = endpoint_.verifyCertificate ? LDAP_OPT_X_TLS_DEMAND : LDAP_OPT_X_TLS_NEVER;
    const int least = LDAP_OPT_X_TLS_PROTOCOL_TLS1_2;
    int code = ldap_set_option(handle_, LDAP_OPT_X_TLS_REQUIRE_CERT, &verify);
    if (code == LDAP_OPT_SUCCESS) code = ldap_set_option(handle_, LDAP_OPT_X_TLS_PROTOCOL_MIN, &least);
    // With GnuTLS below, libldap heeds no least version; there the ciphers are a priority string that has it.
    if (code == LDAP_OPT_SUCCESS && tlsPackage() == "GnuTLS")
        code = ldap_set_option(handle_, LDAP_OPT_X_TLS_CIPHER_SUITE,
                               "NORMAL:-VERS-ALL:+VERS-TLS1.3:+VERS-TLS1.2");
    if (code == LDAP_OPT_SUCCESS && !endpoint_.caFile.empty())
        code = ldap_set_option(handle_, LDAP_OPT_X_TLS_CACERTFILE, endpoint_.caFile.c_str());
    // Makes the options above take effect; last, and for this connection only.
    const int none = 0;
    if (code == LDAP_OPT_SUCCESS) code = ldap_set_option(handle_, LDAP_OPT_X_TLS_NEWCTX, &none);
    return code;
}

Result<void> LdapConnection::installTls() {
    if (setTlsOptions() != LDAP_OPT_SUCCESS) {
        wire_.lose(tlsFailed(endpoint_, L"the TLS library refuses its options"));
        return fail(*wire_.lost());
    }
    if (ldap_install_tls(handle_) == LDAP_SUCCESS) return {};
    const auto& lost = wire_.lost();
    if (lost && lost->code != ldapServerDown) return fail(*lost);
    // libldap verifies the certificate after the handshake and words a refusal as an unknown error.
    std::wstring said = diagnostic();
    if (said.empty() || said.find(L"unknown error") != std::wstring::npos)
        said = lost ? L"the server hung up" : L"its certificate is not trusted";
    const Failure failed = tlsFailed(endpoint_, said);
    wire_.lose(failed);
    return fail(failed);
}

Result<void> LdapConnection::startTls(bool mayGoOn, const LdapWait& wait) {
    int id = 0;
    if (const int code = ldap_start_tls(handle_, nullptr, nullptr, &id); code != LDAP_SUCCESS)
        return fail(failure(code));
    const auto answer = receive(id, wait);
    if (!answer) return fail(answer.error());
    if (const auto started = outcome(*answer); started || mayGoOn)
        return started ? installTls() : Result<void>();
    else
        return fail(startTlsRefused(endpoint_, started.error().text));
}

Result<LdapMessage> LdapConnection::receive(int id, const LdapWait& wait) {
    wire_.allow(wait);
    const auto poll = [&](std::chrono::milliseconds slice) -> Result<std::optional<LdapMessage>> {
        timeval time = timevalOf<Library>(slice);
        LDAPMessage* message = nullptr;
        const int type = ldap_result(handle_, id, LDAP_MSG_ONE, &time, &message);
        if (type > 0) return LdapMessage{type, std::unique_ptr<LDAPMessage, MessageFreer>(message)};
        if (type == 0) return std::optional<LdapMessage>();
        int code = LDAP_SERVER_DOWN;
        ldap_get_option(handle_, LDAP_OPT_RESULT_CODE, &code);
        return fail(failure(code == LDAP_SUCCESS ? LDAP_SERVER_DOWN : code));
    };
    auto message = pollUntil(wait, wire_.stop(), poll);
    if (message) return std::move(**message);
    abandon(id);
    return fail(message.error());
}

Result<void> LdapConnection::finish(int id, const LdapWait& wait) {
    const auto message = receive(id, wait);
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
    if (!wire_.lost()) ldap_abandon_ext(handle_, id, nullptr, nullptr);
}

std::wstring LdapConnection::diagnostic() const {
    char* text = nullptr;
    ldap_get_option(handle_, LDAP_OPT_DIAGNOSTIC_MESSAGE, &text);
    const LdapText said(text);
    return said ? CORE::toWide(said.get()) : std::wstring();
}

Failure LdapConnection::failure(int libraryCode) const {
    if (const auto& lost = wire_.lost()) return *lost;
    return ldapFailure(ldapCodeOf(libraryCode), diagnostic());
}

}  // namespace wsadmin::platform::posix
