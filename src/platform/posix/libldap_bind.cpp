// Binding with OpenLDAP's client library.
#include <sasl/sasl.h>

#include <algorithm>
#include <array>

#include "platform/ldap/ldap_request.h"
#include "platform/ldap/ldap_transport.h"
#include "platform/posix/libldap_connection.h"
#include "platform/text/network_address.h"

namespace wsadmin::platform::posix {

namespace {

constexpr std::size_t mostMechanisms = 1000;

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

}  // namespace

// The best of the server's mechanisms that work with the process's ticket; empty when it has none.
Result<std::string> LdapConnection::ticketMechanism(const LdapWait& wait) {
    char attribute[] = "supportedSASLMechanisms";
    char* attributes[] = {attribute, nullptr};
    int id = 0;
    const int sent = ldap_search_ext(handle_, "", LDAP_SCOPE_BASE, "(objectClass=*)", attributes, 0, nullptr,
                                     nullptr, nullptr, 0, &id);
    if (sent != LDAP_SUCCESS) return fail(failure(sent));
    std::vector<std::string> offered;
    while (true) {
        const auto message = receive(id, wait);
        if (!message) return fail(message.error());
        if (message->type == LDAP_RES_SEARCH_RESULT) break;
        if (offered.size() > mostMechanisms) return fail(ldapFailure(ldapResultsTooLarge));
        berval** values = ldap_get_values_len(handle_, message->message.get(), attribute);
        for (berval** value = values; value && *value; ++value)
            offered.emplace_back((*value)->bv_val, (*value)->bv_len);
        ldap_value_free_len(values);
    }
    for (const char* mechanism : {"GSS-SPNEGO", "GSSAPI"})
        if (std::find(offered.begin(), offered.end(), mechanism) != offered.end()) return mechanism;
    return fail(ldapFailure(ldapAuthMethodNotSupported));
}

Result<void> LdapConnection::ticketBind(const LdapWait& wait) {
    const auto mechanism = ticketMechanism(wait);
    if (!mechanism) return fail(mechanism.error());
    if (ldap_tls_inplace(handle_)) {
        // Inside TLS domain controllers refuse a second security layer and require a channel binding.
        const int binding = LDAP_OPT_X_SASL_CBINDING_TLS_ENDPOINT;
        ldap_set_option(handle_, LDAP_OPT_X_SASL_SECPROPS, "maxssf=0");
        ldap_set_option(handle_, LDAP_OPT_X_SASL_CBINDING, &binding);
    }
    LdapMessage answer;
    const char* used = nullptr;
    int id = 0;
    while (true) {
        const int code = ldap_sasl_interactive_bind(handle_, nullptr, mechanism->c_str(), nullptr, nullptr,
                                                    LDAP_SASL_QUIET, answerByDefault, nullptr,
                                                    answer.message.get(), &used, &id);
        if (code != LDAP_SASL_BIND_IN_PROGRESS) {
            if (code != LDAP_SUCCESS) return fail(failure(code));
            return {};
        }
        auto next = receive(id, wait);
        if (!next) return fail(next.error());
        answer = std::move(*next);
    }
}

Result<void> LdapConnection::simpleBind(const std::string& name, std::string_view password,
                                        const LdapWait& wait) {
    berval secret{password.size(), const_cast<char*>(password.data())};
    int id = 0;
    const int code = ldap_sasl_bind(handle_, name.empty() ? nullptr : name.c_str(), LDAP_SASL_SIMPLE, &secret,
                                    nullptr, nullptr, &id);
    if (code != LDAP_SUCCESS) return fail(failure(code));
    return finish(id, wait);
}

// StartTLS is requested without looking at supportedExtension: not every server lists it there.
Result<void> LdapConnection::protect(bool simple, std::string_view user, const LdapWait& wait) {
    if (ldap_tls_inplace(handle_)) return {};
    const BindProtection needed = protectionOf(endpoint_, simple);
    if (needed.startTls)
        if (auto ok = startTls(needed.inClear, wait); !ok) return ok;
    if (ldap_tls_inplace(handle_)) return {};
    if (!needed.inClear) return fail(passwordInClear(endpoint_));
    if (simple && !isThisMachine(endpoint_.host)) warnOfPasswordInClear(endpoint_, user);
    return {};
}

// Negotiate means Kerberos with the process's ticket. libldap cannot make one from a user and a password, so
// with these the bind is a simple one.
Result<void> LdapConnection::bind(const LdapCredentials& credentials) {
    const LdapWait wait{.until = std::chrono::steady_clock::now() + endpoint_.connectTimeout,
                        .bytes = bindBytes};
    const bool simple = credentials.method != LdapCredentials::Method::anonymous && !credentials.user.empty();
    if (auto ok = connect(wait); !ok) return ok;
    if (auto ok = protect(simple, credentials.user, wait); !ok) return ok;
    if (simple) return simpleBind(simpleBindName(credentials), credentials.password.view(), wait);
    return credentials.method == LdapCredentials::Method::anonymous ? simpleBind({}, {}, wait)
                                                                    : ticketBind(wait);
}

bool LdapConnection::confidential() const noexcept {
    if (!handle_) return false;
    if (ldap_tls_inplace(handle_)) return true;
    constexpr ber_len_t integrityAlone = 1;
    ber_len_t strength = 0;  // of the security layer, in bits
    return ldap_get_option(handle_, LDAP_OPT_X_SASL_SSF, &strength) == LDAP_OPT_SUCCESS &&
           strength > integrityAlone;
}

}  // namespace wsadmin::platform::posix
