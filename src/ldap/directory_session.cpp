#include "ldap/directory_session.h"

#include "platform/module/module_log.h"

namespace wsadmin {
namespace {

constexpr std::uint16_t configurationPort = 389;

Failure sessionFailure(std::wstring_view sentence, const Failure& cause) {
    logError(L"%s%s (%d)", sentence, cause.text, cause.code);
    return {cause.code, std::wstring(sentence) + cause.text, cause.code};
}

}  // namespace

Result<std::unique_ptr<platform::LdapSession>> openConfigurationDirectory(
    platform::Platform& platform, const platform::LdapCredentials& credentials) {
    auto session = platform.ldap->open({.host = {}, .port = configurationPort});
    if (!session)
        return fail(
            sessionFailure(L"Failed to establish LDAP connection on this server - ", session.error()));
    if (auto bound = (*session)->bind(credentials); !bound)
        return fail(sessionFailure(L"Failed to bind to LDAP - ", bound.error()));
    return session;
}

}  // namespace wsadmin
