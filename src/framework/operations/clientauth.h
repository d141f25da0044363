// Rows of the operations on the accounts of client devices.
#pragma once

#include "framework/operation_table.h"
#include "framework/operations/common_keys.h"

namespace wsadmin::row {

inline constexpr Key clientAuthConfigRequest[] = {
    {L"operation", KeyType::text, L"", L"add, update, remove, setdefaults, enableServer or disableServer",
     Required::yes},
    {L"clientid", KeyType::text, L"",
     L"required for add, update and remove; aa:cc:ff:11:33:99, cm-aa:cc:ff:11:33:99 or custom-<name>, 20 "
     L"characters "
     L"at most",
     Required::depends},
    {L"domain", KeyType::text, L"", L"required for add, update and remove; the domain of the account",
     Required::depends},
    {L"group", KeyType::text, L"null",
     L"with add and setdefaults: the group to join; null stands for not given"},
    {L"ou", KeyType::text, L"null",
     L"with add and setdefaults: DN of the organisational unit to make accounts in; null stands for not "
     L"given"},
    {L"genpassword", KeyType::boolean, L"false", L"with add and update: make up a password"},
    {L"password", KeyType::secret, L"", L"with add and update: the password"},
    {L"expirepassword", KeyType::boolean, L"",
     L"with add and setdefaults: whether the password expires; without it, add takes the default setting"},
    {L"description", KeyType::text, L"null",
     L"with add and update: the account's description; null stands for not given"},
    {L"force", KeyType::boolean, L"false",
     L"with remove only: go on when the account cannot be found or deleted"},
    {L"server", KeyType::text, L"", L"required for enableServer and disableServer; the connection server",
     Required::depends},
    {L"requirepassword", KeyType::boolean, L"false",
     L"with enableServer and disableServer: whether client devices must give a password"},
};
inline constexpr Operation clientAuthConfig{
    .name = L"clientAuthConfig",
    .changes = true,
    .text =
        L"Adds, updates or removes the account of a client device, sets the defaults for new ones, or "
        L"switches "
        L"client authentication on a connection server.",
    .request = clientAuthConfigRequest,
    .result = changeResult,
    .example =
        L"operation=add clientid=custom-kiosk2 domain=corp.example ou=\"OU=Kiosk,DC=corp,DC=example\" "
        L"genpassword=true",
};

inline constexpr Key clientAuthGetDefaultsResult[] = {
    {L"ou", KeyType::text, L"", L"DN of the organisational unit for new accounts"},
    {L"group", KeyType::text, L"", L"the group that new accounts join"},
    {L"expirepassword", KeyType::boolean, L"", L"whether passwords of new accounts expire"},
    {L"customprefix", KeyType::textList, L"",
     L"one for each prefix of accepted client names; custom- always is one"},
    directoryError,
};
inline constexpr Operation clientAuthGetDefaults{
    .name = L"clientAuthGetDefaults",
    .text =
        L"Reads the defaults for new accounts of client devices, and the accepted prefixes of their names.",
    .result = clientAuthGetDefaultsResult,
};

inline constexpr Key clientAuthListResult[] = {
    {L"userList", KeyType::bag, L"", L"the accounts of client devices"},
    {L"userList/<account>", KeyType::bagList, L"", L"one for each account"},
    {L"userList/<account>/clientid", KeyType::text, L"",
     L"the client's identifier, which is the account's name"},
    {L"userList/<account>/domain", KeyType::text, L"", L"the account's domain"},
    {L"userList/<account>/password-present", KeyType::boolean, L"",
     L"whether the system holds a password for it"},
    {L"serverList", KeyType::bag, L"", L"the connection servers"},
    {L"serverList/<server>", KeyType::bagList, L"", L"one for each connection server"},
    {L"serverList/<server>/cn", KeyType::text, L"", L"the server's name"},
    {L"serverList/<server>/clientAuthEnabled", KeyType::text, L"",
     L"whether client devices may log on at it"},
    {L"serverList/<server>/clientAuthPasswordRequired", KeyType::text, L"",
     L"whether they must give a password"},
    directoryError,
};
inline constexpr Operation clientAuthList{
    .name = L"clientAuthList",
    .text = L"Lists the accounts of client devices, and how each connection server treats such devices.",
    .result = clientAuthListResult,
};

inline constexpr Key clientAuthRemoveAllRequest[] = {
    {L"force", KeyType::boolean, L"false", L"go on when an account cannot be found or deleted"},
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
    .changes = true,
    .text = L"Removes the accounts of all client devices.",
    .request = clientAuthRemoveAllRequest,
    .result = clientAuthRemoveAllResult,
    .example = L"force=true",
};

}  // namespace wsadmin::row
