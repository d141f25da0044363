// The parameters that the service reads from its start-up bag. They come from the host, or from the table
// [startup] of a lab or a configuration file; what the host gives counts more.
#pragma once

namespace wsadmin::platform::startup {

inline constexpr wchar_t initiateDomainChecks[] = L"InitiateDomainChecks";
inline constexpr wchar_t ipsecRuleCheckInterval[] = L"IPsecRuleCheckInterval";  // seconds
inline constexpr wchar_t enableLdapDomainConfig[] = L"EnableLdapDomainConfig";
inline constexpr wchar_t enableRegistryDomainConfig[] = L"EnableRegistryDomainConfig";
// Names of domains, separated as CORE::wstr::split does.
inline constexpr wchar_t includeList[] = L"includeList";
inline constexpr wchar_t excludeList[] = L"excludeList";
inline constexpr wchar_t searchExclusionList[] = L"searchExclusionList";
// The account that makes, changes and deletes the accounts of client devices; its password is a text that the
// security manager has encrypted.
inline constexpr wchar_t clientAuthAdminDomain[] = L"ClientAuthAdminDomain";
inline constexpr wchar_t clientAuthAdminUser[] = L"ClientAuthAdminUser";
inline constexpr wchar_t clientAuthAdminPassword[] = L"ClientAuthAdminPassword";

enum class Type { flag, integer, text };
struct Parameter {
    const wchar_t* name;
    Type type;
};
inline constexpr Parameter parameters[] = {
    {initiateDomainChecks, Type::flag},
    {ipsecRuleCheckInterval, Type::integer},
    {enableLdapDomainConfig, Type::flag},
    {enableRegistryDomainConfig, Type::flag},
    {includeList, Type::text},
    {excludeList, Type::text},
    {searchExclusionList, Type::text},
    {clientAuthAdminDomain, Type::text},
    {clientAuthAdminUser, Type::text},
    {clientAuthAdminPassword, Type::text},
};

}  // namespace wsadmin::platform::startup
