// Rows of the operations on the accounts of client devices.
#pragma once

#include "framework/operation_table.h"
#include "framework/operations/common_keys.h"

namespace wsadmin::row {

inline constexpr KeyInfo clientAuthConfigRequest[] = {
    {L"operation", L"text", L"",
     L"required; add, update, remove, setdefaults, enableServer or disableServer"},
    {L"clientid", L"text", L"",
     L"required for add, update and remove; aa:cc:ff:11:33:99, cm-aa:cc:ff:11:33:99 or custom-<name>, 20 "
     L"characters "
     L"at most"},
    {L"domain", L"text", L"", L"required for add, update and remove; the domain of the account"},
    {L"group", L"text", L"null", L"with add and setdefaults: the group to join; null stands for not given"},
    {L"ou", L"text", L"null",
     L"with add and setdefaults: DN of the organisational unit to make accounts in; null stands for not "
     L"given"},
    {L"genpassword", L"boolean", L"false", L"with add and update: make up a password"},
    {L"password", L"secret", L"", L"with add and update: the password"},
    {L"expirepassword", L"boolean", L"",
     L"with add and setdefaults: whether the password expires; without it, add takes the default setting"},
    {L"description", L"text", L"null",
     L"with add and update: the account's description; null stands for not given"},
    {L"force", L"boolean", L"false", L"with remove only: go on when the account cannot be found or deleted"},
    {L"server", L"text", L"", L"required for enableServer and disableServer; the connection server"},
    {L"requirepassword", L"boolean", L"false",
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

inline constexpr KeyInfo clientAuthGetDefaultsResult[] = {
    {L"ou", L"text", L"", L"DN of the organisational unit for new accounts"},
    {L"group", L"text", L"", L"the group that new accounts join"},
    {L"expirepassword", L"boolean", L"", L"whether passwords of new accounts expire"},
    {L"customprefix", L"text list", L"",
     L"one for each prefix of accepted client names; custom- always is one"},
    directoryError,
};
inline constexpr Operation clientAuthGetDefaults{
    .name = L"clientAuthGetDefaults",
    .text =
        L"Reads the defaults for new accounts of client devices, and the accepted prefixes of their names.",
    .result = clientAuthGetDefaultsResult,
};

inline constexpr KeyInfo clientAuthListResult[] = {
    {L"userList", L"bag", L"", L"the accounts of client devices"},
    {L"userList/<account>", L"bag list", L"", L"one for each account"},
    {L"userList/<account>/clientid", L"text", L"", L"the client's identifier, which is the account's name"},
    {L"userList/<account>/domain", L"text", L"", L"the account's domain"},
    {L"userList/<account>/password-present", L"boolean", L"", L"whether the system holds a password for it"},
    {L"serverList", L"bag", L"", L"the connection servers"},
    {L"serverList/<server>", L"bag list", L"", L"one for each connection server"},
    {L"serverList/<server>/cn", L"text", L"", L"the server's name"},
    {L"serverList/<server>/clientAuthEnabled", L"text", L"", L"whether client devices may log on at it"},
    {L"serverList/<server>/clientAuthPasswordRequired", L"text", L"", L"whether they must give a password"},
    directoryError,
};
inline constexpr Operation clientAuthList{
    .name = L"clientAuthList",
    .text = L"Lists the accounts of client devices, and how each connection server treats such devices.",
    .result = clientAuthListResult,
};

inline constexpr KeyInfo clientAuthRemoveAllRequest[] = {
    {L"force", L"boolean", L"false", L"go on when an account cannot be found or deleted"},
};
inline constexpr KeyInfo clientAuthRemoveAllResult[] = {
    {L"textmessage", L"text", L"", L"the sentence that tells how many were removed and how many were not"},
    {L"errorList", L"bag", L"", L"when some were not removed: why"},
    {L"errorList/errorText", L"text list", L"", L"one for each failure"},
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
