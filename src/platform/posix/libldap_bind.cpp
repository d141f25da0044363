// Binding with OpenLDAP's client library.
#include <sasl/sasl.h>

#include <algorithm>
#include <array>

#include "platform/ldap/ldap_request.h"
#include "platform/module/topic_log.h"
#include "platform/posix/libldap_connection.h"

namespace wsadmin::platform::posix {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// The deadline of connecting and binding, which share one timeout.
class Deadline {
  public:
    explicit Deadline(milliseconds time) : end_(steady_clock::now() + time) {}
    milliseconds left() const { return std::chrono::duration_cast<milliseconds>(end_ - steady_clock::now()); }

  private:
    steady_clock::time_point end_;
};

Result<void> simpleBind(const LdapConnection& connection, const std::string& name, std::string_view password,
                        const Deadline& deadline) {
    berval secret{password.size(), const_cast<char*>(password.data())};
    int id = 0;
    const int code = ldap_sasl_bind(connection.handle(), name.empty() ? nullptr : name.c_str(),
                                    LDAP_SASL_SIMPLE, &secret, nullptr, nullptr, &id);
    const auto sent = connection.sent(code, id);
    if (!sent) return fail(sent.error());
    return connection.finish(*sent, deadline.left());
}

// The best of the server's mechanisms that work with the process's ticket; empty when it has none.
Result<std::string> ticketMechanism(const LdapConnection& connection, const Deadline& deadline) {
    char attribute[] = "supportedSASLMechanisms";
    char* attributes[] = {attribute, nullptr};
    timeval time{static_cast<time_t>(connection.endpoint().connectTimeout.count() / 1000) + 1, 0};
    int id = 0;
    const int sent = ldap_search_ext(connection.handle(), "", LDAP_SCOPE_BASE, "(objectClass=*)", attributes,
                                     0, nullptr, nullptr, &time, 0, &id);
    if (sent != LDAP_SUCCESS) return fail(connection.failure(sent));
    std::vector<std::string> offered;
    while (true) {
        const auto message = connection.receive(id, deadline.left());
        if (!message) return fail(message.error());
        if (message->type == LDAP_RES_SEARCH_RESULT) break;
        berval** values = ldap_get_values_len(connection.handle(), message->message.get(), attribute);
        for (berval** value = values; value && *value; ++value)
            offered.emplace_back((*value)->bv_val, (*value)->bv_len);
        ldap_value_free_len(values);
    }
    for (const char* mechanism : {"GSS-SPNEGO", "GSSAPI"})
        if (std::find(offered.begin(), offered.end(), mechanism) != offered.end()) return mechanism;
    return fail(ldapFailure(ldapAuthMethodNotSupported));
}

// The ticket holds all credentials, so every prompt of the mechanism gets its default.
int answerByDefault(LDAP*, unsigned, void*, void* questions) {
    for (auto* question = static_cast<sasl_interact_t*>(questions); question->id != SASL_CB_LIST_END;
         ++question) {
        question->result = question->defresult ? question->defresult : "";
        question->len =
            static_cast<unsigned>(std::char_traits<char>::length(static_cast<const char*>(question->result)));
    }
    return LDAP_SUCCESS;
}

Result<void> ticketBind(const LdapConnection& connection, const Deadline& deadline) {
    const auto mechanism = ticketMechanism(connection, deadline);
    if (!mechanism) return fail(mechanism.error());
    LDAP* handle = connection.handle();
    if (connection.endpoint().tls) {
        // Inside TLS domain controllers refuse a second security layer and require a channel binding.
        const int binding = LDAP_OPT_X_SASL_CBINDING_TLS_ENDPOINT;
        ldap_set_option(handle, LDAP_OPT_X_SASL_SECPROPS, "maxssf=0");
        ldap_set_option(handle, LDAP_OPT_X_SASL_CBINDING, &binding);
    }
    LdapMessage answer;
    const char* used = nullptr;
    int id = 0;
    while (true) {
        const int code =
            ldap_sasl_interactive_bind(handle, nullptr, mechanism->c_str(), nullptr, nullptr, LDAP_SASL_QUIET,
                                       answerByDefault, nullptr, answer.message.get(), &used, &id);
        if (code != LDAP_SASL_BIND_IN_PROGRESS) {
            if (code != LDAP_SUCCESS) return fail(connection.failure(code));
            return {};
        }
        auto next = connection.receive(id, deadline.left());
        if (!next) return fail(next.error());
        answer = std::move(*next);
    }
}

bool isThisMachine(const std::string& host) {
    return host == "localhost" || host == "::1" || host.starts_with("127.");
}

// Before a password is sent: StartTLS where the server offers it, and a warning where it does not. A server
// that offers TLS and whose certificate then fails verification gets no password.
Result<void> protectPassword(const LdapConnection& connection, const std::string& user,
                             const Deadline& deadline) {
    const LdapEndpoint& endpoint = connection.endpoint();
    const std::string host = hostOf(endpoint);
    const bool leaves = !isThisMachine(host);
    if (endpoint.tls) return {};
    if (endpoint.startTls == StartTls::always ||
        (leaves && endpoint.startTls == StartTls::leavingTheMachine)) {
        // Requested without looking at supportedExtension: not every server lists StartTLS there.
        const auto started = connection.startTls(deadline.left());
        if (!started) return fail(started.error());
        if (*started) return {};
    }
    if (leaves) logSecurityWarning(L"The password of %s is sent to %s without TLS", user, host);
    return {};
}

}  // namespace

// Negotiate means Kerberos with the process's ticket. libldap cannot make one from a user and a password, so
// with these the bind is a simple one, inside TLS where it leaves the machine and the server offers that.
Result<void> LdapConnection::bind(const LdapCredentials& credentials) const {
    const Deadline deadline(endpoint_.connectTimeout);
    if (credentials.method == LdapCredentials::Method::anonymous) return simpleBind(*this, {}, {}, deadline);
    if (credentials.user.empty()) return ticketBind(*this, deadline);
    if (auto ok = protectPassword(*this, credentials.user, deadline); !ok) return ok;
    return simpleBind(*this, simpleBindName(credentials), credentials.password.view(), deadline);
}

}  // namespace wsadmin::platform::posix
