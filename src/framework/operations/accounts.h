// Rows of the operations on accounts: names, SIDs, groups, and the copies of them in the configuration
// directory.
#pragma once

#include "framework/operation_table.h"
#include "framework/operations/common_keys.h"
#include "framework/operations/nested_keys.h"
#include "identity/handlers.h"

namespace wsadmin::row {

inline constexpr KeyInfo usernameToSIDRequest[] = {
    {L"username", L"text", L"", L"the account as DOMAIN\\user, user@domain or a bare name"},
};
inline constexpr KeyInfo usernameToSIDResult[] = {
    {L"sid", L"text", L"", L"the user's SID; empty when there is no such account or it is not a user's"},
};
inline constexpr Operation usernameToSID{
    .name = L"usernameToSID",
    .bag = wsadmin::usernameToSID,
    .text = L"Finds the SID of a user by the name of the account.",
    .request = usernameToSIDRequest,
    .result = usernameToSIDResult,
    .example = L"username=\"CORP\\alice\"",
};

inline constexpr KeyInfo upnToSidRequest[] = {
    {L"upn", L"text", L"", L"required; the user principal name"},
};
inline constexpr KeyInfo upnToSidResult[] = {
    {L"SID", L"text", L"", L"the user's SID"},
};
inline constexpr Operation upnToSid{
    .name = L"upnToSid",
    .bag = wsadmin::upnToSid,
    .text = L"Finds the SID of a user by the user principal name.",
    .request = upnToSidRequest,
    .result = upnToSidResult,
    .example = L"upn=alice@corp.example",
};

inline constexpr KeyInfo getUserInformationRequest[] = {
    {L"dn", L"text", L"", L"required unless SID is given; the user's distinguished name"},
    {L"SID", L"text", L"", L"the user's SID; saves the look-up of dn"},
};
inline constexpr KeyInfo userInformation[] = {
    {L"cn", L"text", L"",
     L"common name; this and the keys below up to user-principal-name only when not empty"},
    {L"dn", L"text", L"", L"distinguished name"},
    {L"sn", L"text", L"", L"family name"},
    {L"given-name", L"text", L"", L"given name"},
    {L"mail", L"text", L"", L"mail address"},
    {L"domain", L"text", L"", L"short name of the domain"},
    {L"domain-full", L"text", L"", L"DNS name of the domain"},
    {L"account-name", L"text", L"", L"logon name"},
    {L"user-principal-name", L"text", L"", L"user principal name"},
    {L"account-properties", L"bag", L"", L"the flags that apply to the account"},
    {L"account-properties/normal-user-account", L"flag", L"", L"an ordinary user's account"},
    {L"account-properties/account-disabled", L"flag", L"", L"disabled"},
    {L"account-properties/smartcard-required", L"flag", L"", L"logs on with a smart card only"},
    {L"account-properties/account-locked-out", L"flag", L"", L"locked out"},
    {L"account-properties/password-expired", L"flag", L"", L"the password has expired"},
    {L"account-properties/account-expired", L"flag", L"", L"the account has expired"},
    {L"account-properties/account-outside-logon-hours", L"flag", L"", L"may not log on at this hour"},
    {L"sid", L"text", L"", L"the user's SID"},
};
inline constexpr KeyInfo groupList[] = {
    {L"group-list", L"bag", L"",
     L"the user's groups: of the logon, and domain-local ones of the user's domain"},
    {L"group-list/group", L"bag list", L"", L"one for each group"},
    {L"group-list/group/name", L"text", L"",
     L"DOMAIN\\group; left out where it is not known, or not asked for"},
    {L"group-list/group/sid", L"text", L"", L"the group's SID"},
};
inline constexpr auto getUserInformationResult = joined<userInformation, groupList>;
inline constexpr Operation getUserInformation{
    .name = L"getUserInformation",
    .bag = wsadmin::getUserInformation,
    .text = L"Reads from Active Directory who a user is and in what state the account is.",
    .request = getUserInformationRequest,
    .result = getUserInformationResult,
    .example = L"dn=\"CN=Alice Able,OU=Staff,DC=corp,DC=example\"",
};

inline constexpr KeyInfo getUserTokenGroupsRequest[] = {
    {L"upn", L"text", L"", L"required; the user principal name"},
    {L"includeUserSID", L"boolean", L"false", L"give the user's own SID as one more groupSID"},
    {L"SID", L"text", L"", L"the user's SID, for includeUserSID when the logon does not tell it"},
};
inline constexpr KeyInfo getUserTokenGroupsResult[] = {
    {L"groupSID", L"text list", L"", L"one for each group of the logon"},
};
inline constexpr Operation getUserTokenGroups{
    .name = L"getUserTokenGroups",
    .bag = wsadmin::getUserTokenGroups,
    .text = L"Lists the SIDs of all groups that a user belongs to when logged on to this server.",
    .request = getUserTokenGroupsRequest,
    .result = getUserTokenGroupsResult,
    .example = L"upn=alice@corp.example includeUserSID=true",
};

inline constexpr KeyInfo updateSingleUserFSPRequest[] = {
    {L"username", L"text", L"", L"required; the account as DOMAIN\\user, user@domain or a bare name"},
};
inline constexpr Operation updateSingleUserFSP{
    .name = L"updateSingleUserFSP",
    .bag = wsadmin::updateSingleUserFSP,
    .changes = true,
    .text =
        L"Refreshes the name and details of one user that the configuration directory keeps beside the SID.",
    .request = updateSingleUserFSPRequest,
    .result = silentResult,
    .example = L"username=\"CORP\\alice\"",
};

inline constexpr Operation updateAllUserFSPs{
    .name = L"updateAllUserFSPs",
    .bag = wsadmin::updateAllUserFSPs,
    .changes = true,
    .text =
        L"Refreshes the names and details that the configuration directory keeps beside the SIDs of users, "
        L"for at most 250 of them.",
    .result = silentResult,
};

}  // namespace wsadmin::row
