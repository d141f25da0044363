// Rows of the operations on accounts: names, SIDs, groups, and the copies of them in the configuration
// directory.
#pragma once

#include "framework/operation_table.h"
#include "framework/operations/common_keys.h"
#include "framework/operations/nested_keys.h"
#include "identity/foreign_principals.h"
#include "identity/group.h"
#include "identity/identity_keys.h"

namespace wsadmin::row {

inline constexpr Key usernameToSIDRequest[] = {key::username};
inline constexpr Key usernameToSIDResult[] = {
    {L"sid", KeyType::text, L"",
     L"the user's SID; empty when there is no such account or it is not a user's"},
};
inline constexpr Operation usernameToSID{
    .name = L"usernameToSID",
    .run = answer<&Group::usernameToSID>,
    .text = L"Finds the SID of a user by the name of the account.",
    .request = usernameToSIDRequest,
    .result = usernameToSIDResult,
    .example = L"username=\"CORP\\alice\"",
};

inline constexpr Key upnToSidRequest[] = {key::upn};
inline constexpr Key upnToSidResult[] = {
    {L"SID", KeyType::text, L"", L"the user's SID"},
};
inline constexpr Operation upnToSid{
    .name = L"upnToSid",
    .run = answer<&Group::upnToSid>,
    .text = L"Finds the SID of a user by the user principal name.",
    .request = upnToSidRequest,
    .result = upnToSidResult,
    .example = L"upn=alice@corp.example",
};

inline constexpr Key getUserInformationRequest[] = {key::userDn, key::userSid};
inline constexpr Key userInformation[] = {
    {L"cn", KeyType::text, L"",
     L"common name; this and the keys below up to user-principal-name only when not empty"},
    {L"dn", KeyType::text, L"", L"distinguished name"},
    {L"sn", KeyType::text, L"", L"family name"},
    {L"given-name", KeyType::text, L"", L"given name"},
    {L"mail", KeyType::text, L"", L"mail address"},
    {L"domain", KeyType::text, L"", L"short name of the domain"},
    {L"domain-full", KeyType::text, L"", L"DNS name of the domain"},
    {L"account-name", KeyType::text, L"", L"logon name"},
    {L"user-principal-name", KeyType::text, L"", L"user principal name"},
    {L"account-properties", KeyType::bag, L"", L"the flags that apply to the account"},
    {L"account-properties/normal-user-account", KeyType::flag, L"", L"an ordinary user's account"},
    {L"account-properties/account-disabled", KeyType::flag, L"", L"disabled"},
    {L"account-properties/smartcard-required", KeyType::flag, L"", L"logs on with a smart card only"},
    {L"account-properties/account-locked-out", KeyType::flag, L"", L"locked out"},
    {L"account-properties/password-expired", KeyType::flag, L"", L"the password has expired"},
    {L"account-properties/account-expired", KeyType::flag, L"", L"the account has expired"},
    {L"account-properties/account-outside-logon-hours", KeyType::flag, L"", L"may not log on at this hour"},
    {L"sid", KeyType::text, L"", L"the user's SID"},
};
inline constexpr Key groupList[] = {
    {L"group-list", KeyType::bag, L"",
     L"the user's groups: of the logon, and domain-local ones of the user's domain"},
    {L"group-list/group", KeyType::bagList, L"", L"one for each group"},
    {L"group-list/group/name", KeyType::text, L"",
     L"DOMAIN\\group; left out where it is not known, or not asked for"},
    {L"group-list/group/sid", KeyType::text, L"", L"the group's SID"},
};
inline constexpr auto getUserInformationResult = joined<userInformation, groupList>;
inline constexpr Operation getUserInformation{
    .name = L"getUserInformation",
    .run = answer<&Group::getUserInformation>,
    .text = L"Reads from Active Directory who a user is and in what state the account is.",
    .request = getUserInformationRequest,
    .result = getUserInformationResult,
    .example = L"dn=\"CN=Alice Able,OU=Staff,DC=corp,DC=example\"",
};

inline constexpr Key getUserTokenGroupsRequest[] = {key::upn, key::tokenUserSid, key::fallbackUserSid};
inline constexpr Key getUserTokenGroupsResult[] = {
    {L"groupSID", KeyType::textList, L"", L"one for each group of the logon"},
};
inline constexpr Operation getUserTokenGroups{
    .name = L"getUserTokenGroups",
    .run = answer<&Group::getUserTokenGroups>,
    .text = L"Lists the SIDs of all groups that a user belongs to when logged on to this server.",
    .request = getUserTokenGroupsRequest,
    .result = getUserTokenGroupsResult,
    .example = L"upn=alice@corp.example includeUserSID=true",
};

inline constexpr Key updateSingleUserFSPRequest[] = {key::fspUsername};
inline constexpr Operation updateSingleUserFSP{
    .name = L"updateSingleUserFSP",
    .run = answer<&ForeignPrincipals::updateSingle>,
    .changes = true,
    .text =
        L"Refreshes the name and details of one user that the configuration directory keeps beside the SID.",
    .request = updateSingleUserFSPRequest,
    .result = silentResult,
    .example = L"username=\"CORP\\alice\"",
};

inline constexpr Operation updateAllUserFSPs{
    .name = L"updateAllUserFSPs",
    .run = answer<&ForeignPrincipals::updateAll>,
    .changes = true,
    .text =
        L"Refreshes the names and details that the configuration directory keeps beside the SIDs of users, "
        L"for at most 250 of them.",
    .result = silentResult,
};

}  // namespace wsadmin::row
