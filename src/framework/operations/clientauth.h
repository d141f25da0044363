// Rows of the operations on the accounts of client devices.
#pragma once

#include "clientauth/client_auth.h"
#include "clientauth/client_auth_config.h"
#include "clientauth/clientauth_keys.h"
#include "framework/operation_table.h"
#include "framework/operations/common_keys.h"

namespace wsadmin::row {

inline constexpr Key clientAuthConfigRequest[] = {
    key::clientOperation,   key::clientId,          key::clientDomain,   key::clientGroup,
    key::clientOu,          key::generatesPassword, key::clientPassword, key::expirePassword,
    key::clientDescription, key::forcesRemoval,     key::switchedServer, key::requiresPassword,
};
inline constexpr Operation clientAuthConfig{
    .name = L"clientAuthConfig",
    .run = answer<&ClientAuthConfig::clientAuthConfig>,
    .changes = true,
    .text =
        L"Adds, updates or removes the account of a client device, sets the defaults for new ones, or "
        L"switches client authentication on a connection server.",
    .request = clientAuthConfigRequest,
    .result = changeResult,
    .example =
        L"operation=add clientid=custom-kiosk2 domain=corp.example ou=\"OU=Kiosk,DC=corp,DC=example\" "
        L"genpassword=true",
};

inline constexpr Key clientAuthGetDefaultsResult[] = {
    {L"ou", KeyType::text, L"", L"DN of the organisational unit for new accounts; null where none is set"},
    {L"group", KeyType::text, L"", L"logon name of the group that new accounts join; null where none is set"},
    {L"expirepassword", KeyType::boolean, L"", L"whether passwords of new accounts expire"},
    {L"customprefix", KeyType::textList, L"",
     L"one for each prefix of accepted client names; custom- always is one"},
    directoryError,
};
inline constexpr Operation clientAuthGetDefaults{
    .name = L"clientAuthGetDefaults",
    .run = answer<&ClientAuth::clientAuthGetDefaults>,
    .text =
        L"Reads the defaults for new accounts of client devices, and the accepted prefixes of their names.",
    .result = clientAuthGetDefaultsResult,
};

inline constexpr Key clientAuthListResult[] = {
    {L"userList", KeyType::bag, L"", L"the accounts of client devices"},
    {L"userList/user", KeyType::bagList, L"", L"one for each account"},
    {L"userList/user/clientid", KeyType::text, L"", L"the client's identifier, which is the account's name"},
    {L"userList/user/domain", KeyType::text, L"", L"the account's domain"},
    {L"userList/user/password-present", KeyType::boolean, L"", L"whether the system holds a password for it"},
    {L"serverList", KeyType::bag, L"", L"the connection servers"},
    {L"serverList/server", KeyType::bagList, L"", L"one for each connection server"},
    {L"serverList/server/cn", KeyType::text, L"", L"the server's name"},
    {L"serverList/server/clientAuthEnabled", KeyType::text, L"",
     L"1 where client devices may log on at it, 0 or empty where not"},
    {L"serverList/server/clientAuthPasswordRequired", KeyType::text, L"",
     L"1 where they must give a password, 0 or empty where not"},
    directoryError,
};
inline constexpr Operation clientAuthList{
    .name = L"clientAuthList",
    .run = answer<&ClientAuth::clientAuthList>,
    .text = L"Lists the accounts of client devices, and how each connection server treats such devices.",
    .result = clientAuthListResult,
};

inline constexpr Key clientAuthRemoveAllRequest[] = {
    key::forcesAllRemovals,
};
inline constexpr Key clientAuthRemoveAllResult[] = {
    {L"textmessage", KeyType::text, L"",
     L"the sentence that tells how many were removed and how many were not"},
    {L"errorList", KeyType::bag, L"", L"when some were not removed: why"},
    {L"errorList/errorText", KeyType::textList, L"", L"one for each failure"},
    directoryError,
};
inline constexpr Operation clientAuthRemoveAll{
    .name = L"clientAuthRemoveAll",
    .run = answer<&ClientAuth::clientAuthRemoveAll>,
    .changes = true,
    .text = L"Removes the accounts of all client devices.",
    .request = clientAuthRemoveAllRequest,
    .result = clientAuthRemoveAllResult,
    .example = L"force=true",
};

}  // namespace wsadmin::row
