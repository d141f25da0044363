// Rows of the operations on entitlements and administrator roles: what a person may use and administer.
#pragma once

#include "framework/operation_table.h"
#include "framework/operations/accounts.h"
#include "framework/operations/nested_keys.h"
#include "identity/admin_permission.h"
#include "identity/entitlement.h"
#include "identity/group.h"
#include "identity/identity_keys.h"

namespace wsadmin::row {

inline constexpr Key sidListRequest[] = {key::entitledSids};

inline constexpr Key getEntitledDesktopsResult[] = {
    {L"entitlement", KeyType::bagList, L"", L"one for each desktop pool"},
    {L"entitlement/cn", KeyType::text, L"", L"identifier"},
    {L"entitlement/display-name", KeyType::text, L"", L"name shown to people"},
    {L"entitlement/description", KeyType::text, L"", L"description"},
    {L"entitlement/folder", KeyType::text, L"",
     L"the administration folder's path from the top, as /Sales/EMEA; / for the root folder"},
    {L"entitlement/status", KeyType::text, L"", L"enabled or disabled"},
    directoryError,
};
inline constexpr Operation getEntitledDesktops{
    .name = L"getEntitledDesktops",
    .run = answer<&Entitlement::desktops>,
    .text = L"Lists the desktop pools that a user may use.",
    .request = sidListRequest,
    .result = getEntitledDesktopsResult,
    .example = L"sid=S-1-5-21-2000-2000-2000-1103 sid=S-1-5-21-2000-2000-2000-1205",
};

inline constexpr Key getGlobalEntitledDesktopsResult[] = {
    {L"entitlement", KeyType::bagList, L"",
     L"one for each assignment to a global entitlement; outside a federation the answer is the error \"No "
     L"entitlements\""},
    {L"entitlement/display-name", KeyType::text, L"", L"name shown to people"},
    {L"entitlement/description", KeyType::text, L"", L"description"},
    {L"entitlement/status", KeyType::text, L"", L"enabled or disabled"},
    {L"entitlement/entitlement-type", KeyType::text, L"", L"floating or dedicated"},
    {L"entitlement/etitlement-type", KeyType::text, L"",
     L"so spelt, and in place of entitlement-type, when the type cannot be read: floating"},
};
inline constexpr Operation getGlobalEntitledDesktops{
    .name = L"getGlobalEntitledDesktops",
    .run = answer<&Entitlement::globalDesktops>,
    .text =
        L"Lists the desktops that a user may use in the whole federation, to which the pod has to belong.",
    .request = sidListRequest,
    .result = getGlobalEntitledDesktopsResult,
    .example = L"sid=S-1-5-21-2000-2000-2000-1103",
};

inline constexpr Key getEntitledMirapaksResult[] = {
    {L"entitlement", KeyType::bagList, L"", L"one for each packaged application or group of them"},
    {L"entitlement/cn", KeyType::text, L"", L"identifier"},
    {L"entitlement/display-name", KeyType::text, L"", L"name shown to people"},
    {L"entitlement/description", KeyType::text, L"", L"description"},
    {L"entitlement/folder", KeyType::text, L"",
     L"the administration folder's path from the top, as /Sales/EMEA; / for the root folder"},
    {L"entitlement/status", KeyType::text, L"", L"enabled or disabled"},
    {L"entitlement/MirapakType", KeyType::text, L"", L"Mirapak Application or Mirapak Application Group"},
    directoryError,
};
inline constexpr Operation getEntitledMirapaks{
    .name = L"getEntitledMirapaks",
    .run = answer<&Entitlement::packages>,
    .text = L"Lists the packaged applications and groups of them that a user may use.",
    .request = sidListRequest,
    .result = getEntitledMirapaksResult,
    .example = L"sid=S-1-5-21-2000-2000-2000-1103 sid=S-1-5-21-2000-2000-2000-1205",
};

inline constexpr Key getAdminRolesResult[] = {
    {L"admin-role", KeyType::bagList, L"", L"one for each role"},
    {L"admin-role/cn", KeyType::text, L"", L"identifier"},
    {L"admin-role/display-name", KeyType::text, L"",
     L"the role's path from the container of the roles, as /Helpdesk or /Site A/Helpdesk"},
    {L"admin-role/description", KeyType::text, L"", L"description"},
    {L"admin-role/status", KeyType::text, L"", L"enabled or disabled"},
    directoryError,
};
inline constexpr Operation getAdminRoles{
    .name = L"getAdminRoles",
    .run = answer<&Entitlement::adminRoles>,
    .text = L"Lists the administrator roles that a user holds.",
    .request = sidListRequest,
    .result = getAdminRolesResult,
    .example = L"sid=S-1-5-21-2000-2000-2000-1103 sid=S-1-5-21-2000-2000-2000-1206",
};

// The user is named in one of four ways; the first that is there counts.
inline constexpr Key userContextRequest[] = {key::contextUpns,   key::contextSubject, key::contextIssuer,
                                             key::contextDn,     key::contextSid,     key::contextUserSid,
                                             key::listGroupNames};

inline constexpr Operation getEntitlementGroups{
    .name = L"getEntitlementGroups",
    .run = answer<&Group::getEntitlementGroups>,
    .text = L"Lists the groups through which a user can be entitled.",
    .request = userContextRequest,
    .result = groupList,
    .example = L"upn=alice@corp.example listNames=true",
};

inline constexpr Key userInfo[] = {
    {L"user-info", KeyType::bag, L"", L"who the user is"},
};
inline constexpr wchar_t userInfoPath[] = L"user-info";
inline constexpr auto getUserContextResult =
    joined<userInfo, under<userInfoPath, userInformation>, groupList>;
inline constexpr Operation getUserContext{
    .name = L"getUserContext",
    .run = answer<&Group::getUserContext>,
    .text = L"Tells who a user is and lists the groups through which the user can be entitled.",
    .request = userContextRequest,
    .result = getUserContextResult,
    .example = L"dn=\"CN=Alice Able,OU=Staff,DC=corp,DC=example\" includeUserSID=true",
};

inline constexpr Key checkAdminPermissionRequest[] = {key::adminSids, key::adminPermissions};
inline constexpr Key checkAdminPermissionResult[] = {
    {L"result", KeyType::text, L"", L"OK; a refusal is an error"},
    directoryError,
};
inline constexpr Operation checkAdminPermission{
    .name = L"checkAdminPermission",
    .run = answer<&AdminPermission::check>,
    .text = L"Checks that somebody holds an administrator role that grants a permission.",
    .request = checkAdminPermissionRequest,
    .result = checkAdminPermissionResult,
    .example = L"sid=S-1-5-21-2000-2000-2000-1206 permission=Read",
};

}  // namespace wsadmin::row
