// Rows of the operations on domains: what is known of them and the lists that limit them.
#pragma once

#include "framework/operation_table.h"
#include "framework/operations/common_keys.h"
#include "ldap/domain_config.h"
#include "ldap/domain_keys.h"
#include "ldap/domain_queries.h"

namespace wsadmin::row {

inline constexpr Key getDomainTypeResult[] = {
    {L"isMixedMode", KeyType::boolean, L"",
     L"false for a native-mode domain; true also when it cannot be found out"},
};
inline constexpr Operation getDomainType{
    .name = L"getDomainType",
    .run = answer<&DomainQueries::getDomainType>,
    .text = L"Tells whether this server's Active Directory domain is in mixed or in native mode.",
    .result = getDomainTypeResult,
};

inline constexpr Key getDomainHealthRequest[] = {
    key::forceReload,
};
inline constexpr Key getDomainHealthResult[] = {
    {L"domain", KeyType::bagList, L"", L"one for each known domain"},
    {L"domain/name", KeyType::text, L"", L"NetBIOS name"},
    {L"domain/dns", KeyType::text, L"", L"DNS name"},
    {L"domain/isNT4", KeyType::boolean, L"",
     L"true for a domain without a DNS name, whose users cannot be used"},
    {L"domain/contactable", KeyType::text, L"", L"FULLYACCESSIBLE, CANNOTBIND or UNKNOWN"},
    {L"domain/trustType", KeyType::text, L"",
     L"PRIMARYDOMAIN, TWOWAY, FROMBROKER, UNKNOWN, or a type that the authentication service names"},
};
inline constexpr Operation getDomainHealth{
    .name = L"getDomainHealth",
    .run = answer<&DomainQueries::getDomainHealth, OnFailure::keeps>,
    .text = L"Lists the domains that users can come from, how each is trusted and whether it can be reached.",
    .request = getDomainHealthRequest,
    .result = getDomainHealthResult,
    .example = L"forceReload=true",
};

inline constexpr Key getNetBiosNameResult[] = {
    {L"netBiosName", KeyType::text, L"", L"the name; left out when it cannot be read"},
};
inline constexpr Operation getNetBiosName{
    .name = L"getNetBiosName",
    .run = answer<&DomainQueries::getNetBiosName>,
    .text = L"Tells the NetBIOS name of this server.",
    .result = getNetBiosNameResult,
};

inline constexpr Key saveDomainConfigRequest[] = {
    key::listChange,
    key::listBroker,
    key::listType,
    key::listDomain,
};
inline constexpr Key saveDomainConfigResult[] = {
    {L"result", KeyType::text, L"", L"the sentence that tells what was done"},
    directoryError,
};
inline constexpr Operation saveDomainConfig{
    .name = L"saveDomainConfig",
    .run = answer<&DomainConfig::save>,
    .changes = true,
    .text = L"Adds a domain to a list that limits which domains are used, removes it, or empties a list.",
    .request = saveDomainConfigRequest,
    .result = saveDomainConfigResult,
    .example = L"operation=add listtype=exclude domain=legacy.example",
};

inline constexpr Key loadDomainConfigResult[] = {
    {L"cluster", KeyType::bag, L"", L"the lists of the whole cluster"},
    {L"cluster/includeList", KeyType::bag, L"", L"the only domains to use"},
    {L"cluster/includeList/<domain>", KeyType::flag, L"", L"one for each domain on the list"},
    {L"cluster/excludeList", KeyType::bag, L"", L"domains not to use"},
    {L"cluster/excludeList/<domain>", KeyType::flag, L"", L"one for each domain on the list"},
    {L"cluster/searchExclusionList", KeyType::bag, L"", L"domains not to search for users"},
    {L"cluster/searchExclusionList/<domain>", KeyType::flag, L"", L"one for each domain on the list"},
    {L"brokerList", KeyType::bag, L"", L"the lists of each connection server"},
    {L"brokerList/<server>", KeyType::bag, L"", L"one for each connection server, under its name"},
    {L"brokerList/<server>/includeList", KeyType::bag, L"", L"as under cluster"},
    {L"brokerList/<server>/excludeList", KeyType::bag, L"", L"as under cluster"},
    {L"brokerList/<server>/searchExclusionList", KeyType::bag, L"", L"as under cluster"},
    {L"brokerList/<server>/brokerDNSDomainName", KeyType::text, L"",
     L"the DNS domain that the server belongs to"},
    {L"effectiveList", KeyType::text, L"",
     L"the list in force here: clusterExclude, brokerExclude, brokerInclude, clusterInclude or unlimited"},
    {L"brokerName", KeyType::text, L"", L"the name of this server"},
    directoryError,
};
inline constexpr Operation loadDomainConfig{
    .name = L"loadDomainConfig",
    .run = answer<&DomainConfig::load>,
    .text =
        L"Reads the lists that limit which domains are used, and tells which one is in force on this server.",
    .result = loadDomainConfigResult,
};

}  // namespace wsadmin::row
