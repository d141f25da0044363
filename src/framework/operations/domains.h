// Rows of the operations on domains: what is known of them and the lists that limit them.
#pragma once

#include "framework/operation_table.h"
#include "framework/operations/common_keys.h"
#include "ldap/handlers.h"

namespace wsadmin::row {

inline constexpr KeyInfo getDomainTypeResult[] = {
    {L"isMixedMode", L"boolean", L"",
     L"false for a native-mode domain; true also when it cannot be found out"},
};
inline constexpr Operation getDomainType{
    .name = L"getDomainType",
    .bag = wsadmin::getDomainType,
    .text = L"Tells whether this server's Active Directory domain is in mixed or in native mode.",
    .result = getDomainTypeResult,
};

inline constexpr KeyInfo getDomainHealthRequest[] = {
    {L"forceReload", L"boolean", L"false", L"ask all domains now, rather than answer what was last found"},
};
inline constexpr KeyInfo getDomainHealthResult[] = {
    {L"domain", L"bag list", L"", L"one for each known domain"},
    {L"domain/name", L"text", L"", L"NetBIOS name"},
    {L"domain/dns", L"text", L"", L"DNS name"},
    {L"domain/isNT4", L"boolean", L"", L"true for a domain without a DNS name, whose users cannot be used"},
    {L"domain/contactable", L"text", L"", L"FULLYACCESSIBLE, CANNOTBIND or UNKNOWN"},
    {L"domain/trustType", L"text", L"",
     L"PRIMARYDOMAIN, TWOWAY, FROMBROKER, UNKNOWN, or a type that the authentication service names"},
};
inline constexpr Operation getDomainHealth{
    .name = L"getDomainHealth",
    .bag = wsadmin::getDomainHealth,
    .text = L"Lists the domains that users can come from, how each is trusted and whether it can be reached.",
    .request = getDomainHealthRequest,
    .result = getDomainHealthResult,
    .example = L"forceReload=true",
};

inline constexpr KeyInfo getNetBiosNameResult[] = {
    {L"netBiosName", L"text", L"", L"the name; left out when it cannot be read"},
};
inline constexpr Operation getNetBiosName{
    .name = L"getNetBiosName",
    .bag = wsadmin::getNetBiosName,
    .text = L"Tells the NetBIOS name of this server.",
    .result = getNetBiosNameResult,
};

inline constexpr KeyInfo saveDomainConfigRequest[] = {
    {L"operation", L"text", L"", L"required; add, remove or removeall"},
    {L"connectionserver", L"text", L"",
     L"the connection server whose list it is; empty for the cluster's list"},
    {L"listtype", L"text", L"", L"required; include, exclude or search"},
    {L"domain", L"text", L"", L"required for add and remove; the domain's DNS name"},
};
inline constexpr KeyInfo saveDomainConfigResult[] = {
    {L"result", L"text", L"", L"the sentence that tells what was done"},
    directoryError,
};
inline constexpr Operation saveDomainConfig{
    .name = L"saveDomainConfig",
    .bag = wsadmin::saveDomainConfig,
    .changes = true,
    .text = L"Adds a domain to a list that limits which domains are used, removes it, or empties a list.",
    .request = saveDomainConfigRequest,
    .result = saveDomainConfigResult,
    .example = L"operation=add listtype=exclude domain=legacy.example",
};

inline constexpr KeyInfo loadDomainConfigResult[] = {
    {L"cluster", L"bag", L"", L"the lists of the whole cluster"},
    {L"cluster/includeList", L"bag", L"", L"the only domains to use"},
    {L"cluster/includeList/<domain>", L"flag", L"", L"one for each domain on the list"},
    {L"cluster/excludeList", L"bag", L"", L"domains not to use"},
    {L"cluster/excludeList/<domain>", L"flag", L"", L"one for each domain on the list"},
    {L"cluster/searchExclusionList", L"bag", L"", L"domains not to search for users"},
    {L"cluster/searchExclusionList/<domain>", L"flag", L"", L"one for each domain on the list"},
    {L"brokerList", L"bag", L"", L"the lists of each connection server"},
    {L"brokerList/<server>", L"bag", L"", L"one for each connection server, under its name"},
    {L"brokerList/<server>/includeList", L"bag", L"", L"as under cluster"},
    {L"brokerList/<server>/excludeList", L"bag", L"", L"as under cluster"},
    {L"brokerList/<server>/searchExclusionList", L"bag", L"", L"as under cluster"},
    {L"brokerList/<server>/brokerDNSDomainName", L"text", L"", L"the DNS domain that the server belongs to"},
    {L"effectiveList", L"text", L"",
     L"the list in force here: clusterExclude, brokerExclude, brokerInclude, clusterInclude or unlimited"},
    {L"brokerName", L"text", L"", L"the name of this server"},
    directoryError,
};
inline constexpr Operation loadDomainConfig{
    .name = L"loadDomainConfig",
    .bag = wsadmin::loadDomainConfig,
    .text =
        L"Reads the lists that limit which domains are used, and tells which one is in force on this server.",
    .result = loadDomainConfigResult,
};

}  // namespace wsadmin::row
