#include "platform/ldap/ldap_request.h"

#include <algorithm>

#include "framework/core/ascii.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin::platform {

namespace {

// Client libraries take these texts as C strings: what stands after a NUL would be lost without a word.
bool hasNul(std::string_view text) noexcept {
    return text.find('\0') != std::string_view::npos;
}

bool isHostCharacter(char c) noexcept {
    return CORE::isAsciiAlphanumeric(c) || c == '-' || c == '.' || c == '_' || c == ':' || c == '%' ||
           (c & 0x80) != 0;
}

bool isDn(std::string_view user) {
    return user.find('=') != std::string_view::npos && parseDn(user);
}

Result<void> checkName(std::string_view attribute) {
    if (attribute.empty() || hasNul(attribute)) return fail(ldapFailure(ldapParamError));
    return {};
}

}  // namespace

Result<void> checkEndpoint(const LdapEndpoint& endpoint) {
    // A blank or a slash would make the library see another host, or several.
    if (!std::all_of(endpoint.host.begin(), endpoint.host.end(), isHostCharacter) || endpoint.port == 0)
        return fail(ldapFailure(ldapParamError));
    return {};
}

std::string hostOf(const LdapEndpoint& endpoint) {
    return endpoint.host.empty() ? "localhost" : endpoint.host;
}

Result<void> checkCredentials(const LdapCredentials& credentials) {
    if (hasNul(credentials.user) || hasNul(credentials.domain)) return fail(ldapFailure(ldapParamError));
    const bool named = !credentials.user.empty();
    if (credentials.method == LdapCredentials::Method::simple && !named)
        return fail(ldapFailure(ldapParamError));
    if (credentials.method != LdapCredentials::Method::anonymous && named && credentials.password.empty())
        return fail(ldapFailure(ldapInvalidCredentials));
    return {};
}

bool bindsSimply(const LdapCredentials& credentials) {
    return credentials.method == LdapCredentials::Method::simple || isDn(credentials.user);
}

std::string simpleBindName(const LdapCredentials& credentials) {
    const std::string& user = credentials.user;
    const bool complete =
        credentials.domain.empty() || user.find_first_of("@\\") != std::string::npos || isDn(user);
    if (complete) return user;
    // DNS names of domains have dots, NetBIOS names have none.
    if (credentials.domain.find('.') != std::string::npos) return user + '@' + credentials.domain;
    return credentials.domain + '\\' + user;
}

std::string accountOf(const LdapCredentials& credentials) {
    const bool named = credentials.method != LdapCredentials::Method::anonymous && !isDn(credentials.user);
    return named && !credentials.user.empty() ? simpleBindName(credentials) : std::string();
}

Result<std::string> wireDn(std::string_view dn) {
    if (const auto parsed = parseDn(dn)) return dnToText(*parsed);
    if (hasNul(dn)) return fail(ldapFailure(ldapInvalidDnSyntax));
    return std::string(dn);
}

Result<LdapSearch> wireSearch(const LdapSearch& search) {
    LdapSearch wire = search;
    auto base = wireDn(search.base);
    if (!base) return fail(base.error());
    wire.base = std::move(*base);
    auto filter = normaliseFilter(search.filter);
    if (!filter) {
        logDebug(L"LDAP filter %s refused - %s", search.filter, filter.error().text);
        return fail(ldapFailure(filter.error().code));
    }
    wire.filter = std::move(*filter);
    for (const std::string& attribute : search.attributes)
        if (auto ok = checkName(attribute); !ok) return fail(ok.error());
    return wire;
}

Result<LdapEntry> wireEntry(const LdapEntry& entry) {
    auto dn = wireDn(entry.dn);
    if (!dn) return fail(dn.error());
    for (const LdapAttribute& attribute : entry.attributes)
        if (auto ok = checkName(attribute.name); !ok) return fail(ok.error());
    return LdapEntry{std::move(*dn), entry.attributes};
}

Result<void> checkModifications(const std::vector<LdapModification>& changes) {
    for (const LdapModification& change : changes)
        if (auto ok = checkName(change.attribute); !ok) return ok;
    return {};
}

bool isSuccess(int code, bool ofSearch) noexcept {
    return code == ldapSuccess || (ofSearch && code == ldapPartialResults);
}

Failure ldapFailure(int code, std::wstring_view said) {
    Failure failure = ldapFailure(code);
    if (!said.empty()) logDebug(L"LDAP error %d (%s): %s", code, failure.text, said);
    return failure;
}

}  // namespace wsadmin::platform
