// Rows of the operations on entitlements and administrator roles: what a person may use and administer.
#pragma once

#include "framework/operation_table.h"
#include "framework/operations/accounts.h"
#include "framework/operations/nested_keys.h"
#include "identity/handlers.h"

namespace wsadmin::row {

inline constexpr KeyInfo sidListRequest[] = {
    {L"sid", L"text list", L"",
     L"the SIDs of the user and of the user's groups, as getUserTokenGroups gives them"},
};

inline constexpr KeyInfo getEntitledDesktopsResult[] = {
    {L"entitlement", L"bag list", L"", L"one for each desktop pool"},
    {L"entitlement/cn", L"text", L"", L"identifier"},
    {L"entitlement/display-name", L"text", L"", L"name shown to people"},
    {L"entitlement/description", L"text", L"", L"description"},
    {L"entitlement/folder", L"text", L"",
     L"the administration folder's path from the top, as /Sales/EMEA; / for the root folder"},
    {L"entitlement/status", L"text", L"", L"enabled or disabled"},
    directoryError,
};
inline constexpr Operation getEntitledDesktops{
    .name = L"getEntitledDesktops",
    .bag = wsadmin::getEntitledDesktops,
    .text = L"Lists the desktop pools that a user may use.",
    .request = sidListRequest,
    .result = getEntitledDesktopsResult,
    .example = L"sid=S-1-5-21-2000-2000-2000-1103 sid=S-1-5-21-2000-2000-2000-1205",
};

inline constexpr KeyInfo getGlobalEntitledDesktopsResult[] = {
    {L"entitlement", L"bag list", L"",
     L"one for each assignment to a global entitlement; outside a federation the answer is the error \"No "
     L"entitlements\""},
    {L"entitlement/display-name", L"text", L"", L"name shown to people"},
    {L"entitlement/description", L"text", L"", L"description"},
    {L"entitlement/status", L"text", L"", L"enabled or disabled"},
    {L"entitlement/entitlement-type", L"text", L"", L"floating or dedicated"},
    {L"entitlement/etitlement-type", L"text", L"",
     L"so spelt, and in place of entitlement-type, when the type cannot be read: floating"},
};
inline constexpr Operation getGlobalEntitledDesktops{
    .name = L"getGlobalEntitledDesktops",
    .bag = wsadmin::getGlobalEntitledDesktops,
    .text =
        L"Lists the desktops that a user may use in the whole federation, to which the pod has to belong.",
    .request = sidListRequest,
    .result = getGlobalEntitledDesktopsResult,
    .example = L"sid=S-1-5-21-2000-2000-2000-1103",
};

inline constexpr KeyInfo getEntitledMirapaksResult[] = {
    {L"entitlement", L"bag list", L"", L"one for each packaged application or group of them"},
    {L"entitlement/cn", L"text", L"", L"identifier"},
    {L"entitlement/display-name", L"text", L"", L"name shown to people"},
    {L"entitlement/description", L"text", L"", L"description"},
    {L"entitlement/folder", L"text", L"",
     L"the administration folder's path from the top, as /Sales/EMEA; / for the root folder"},
    {L"entitlement/status", L"text", L"", L"enabled or disabled"},
    {L"entitlement/MirapakType", L"text", L"", L"Mirapak Application or Mirapak Application Group"},
    directoryError,
};
inline constexpr Operation getEntitledMirapaks{
    .name = L"getEntitledMirapaks",
    .bag = wsadmin::getEntitledMirapaks,
    .text = L"Lists the packaged applications and groups of them that a user may use.",
    .request = sidListRequest,
    .result = getEntitledMirapaksResult,
    .example = L"sid=S-1-5-21-2000-2000-2000-1103 sid=S-1-5-21-2000-2000-2000-1205",
};

inline constexpr KeyInfo getAdminRolesResult[] = {
    {L"admin-role", L"bag list", L"", L"one for each role"},
    {L"admin-role/cn", L"text", L"", L"identifier"},
    {L"admin-role/display-name", L"text", L"",
     L"the role's path from the container of the roles, as /Helpdesk or /Site A/Helpdesk"},
    {L"admin-role/description", L"text", L"", L"description"},
    {L"admin-role/status", L"text", L"", L"enabled or disabled"},
    directoryError,
};
inline constexpr Operation getAdminRoles{
    .name = L"getAdminRoles",
    .bag = wsadmin::getAdminRoles,
    .text = L"Lists the administrator roles that a user holds.",
    .request = sidListRequest,
    .result = getAdminRolesResult,
    .example = L"sid=S-1-5-21-2000-2000-2000-1103 sid=S-1-5-21-2000-2000-2000-1206",
};

// The user is named in one of four ways; the first that is there counts.
inline constexpr KeyInfo userContextRequest[] = {
    {L"upn", L"text list", L"", L"the user by user principal name; the first way that is given counts"},
    {L"subjectDN", L"text", L"", L"the user by the subject of a certificate"},
    {L"issuerDN", L"text", L"", L"with subjectDN: the certificate's issuer"},
    {L"dn", L"text", L"", L"the user by distinguished name"},
    {L"SID", L"text", L"", L"required unless the user is named in another way; the user by SID"},
    {L"includeUserSID", L"boolean", L"false", L"give the user as one more group"},
    {L"listNames", L"boolean", L"false", L"give the names of the groups too"},
};

inline constexpr Operation getEntitlementGroups{
    .name = L"getEntitlementGroups",
    .bag = wsadmin::getEntitlementGroups,
    .text = L"Lists the groups through which a user can be entitled.",
    .request = userContextRequest,
    .result = groupList,
    .example = L"upn=alice@corp.example listNames=true",
};

inline constexpr KeyInfo userInfo[] = {
    {L"user-info", L"bag", L"", L"who the user is"},
};
inline constexpr wchar_t userInfoPath[] = L"user-info";
inline constexpr auto getUserContextResult =
    joined<userInfo, under<userInfoPath, userInformation>, groupList>;
inline constexpr Operation getUserContext{
    .name = L"getUserContext",
    .bag = wsadmin::getUserContext,
    .text = L"Tells who a user is and lists the groups through which the user can be entitled.",
    .request = userContextRequest,
    .result = getUserContextResult,
    .example = L"dn=\"CN=Alice Able,OU=Staff,DC=corp,DC=example\" includeUserSID=true",
};

inline constexpr KeyInfo checkAdminPermissionRequest[] = {
    {L"sid", L"text list", L"",
     L"the SIDs of the principal and of its groups; without any, the account that the configuration "
     L"directory is bound with, or else who the process is"},
    {L"permission", L"text list", L"", L"the permissions asked for, one of which is enough; Full always is"},
};
inline constexpr KeyInfo checkAdminPermissionResult[] = {
    {L"result", L"text", L"", L"OK; a refusal is an error"},
    directoryError,
};
inline constexpr Operation checkAdminPermission{
    .name = L"checkAdminPermission",
    .bag = wsadmin::checkAdminPermission,
    .text = L"Checks that somebody holds an administrator role that grants a permission.",
    .request = checkAdminPermissionRequest,
    .result = checkAdminPermissionResult,
    .example = L"sid=S-1-5-21-2000-2000-2000-1206 permission=Read",
};

}  // namespace wsadmin::row
