// Rows of the reports on what outlived an entitlement. Each report has two layouts, by user and by desktop,
// and gives the one that is asked for.
#pragma once

#include "framework/operation_table.h"
#include "framework/operations/common_keys.h"
#include "framework/operations/nested_keys.h"
#include "machines/machine_keys.h"
#include "machines/unentitled_reports.h"

namespace wsadmin::row {

inline constexpr Key unentitledRequest[] = {
    key::listByUser,
};

// The levels of the two layouts, below the report and above its machines or policies.
inline constexpr Key levelsByUser[] = {
    {L"byuser-list", KeyType::bag, L"", L"the report by user"},
    {L"byuser-list/user-entry", KeyType::bagList, L"", L"one for each user"},
    {L"byuser-list/user-entry/user", KeyType::bag, L"",
     L"who the user is, with the keys of getUserInformation"},
    {L"byuser-list/user-entry/user/sid", KeyType::text, L"", L"the user's SID"},
    {L"byuser-list/user-entry/desktop-list", KeyType::bag, L"", L"the desktops that the user has lost"},
    {L"byuser-list/user-entry/desktop-list/desktop-entry", KeyType::bagList, L"", L"one for each desktop"},
    {L"byuser-list/user-entry/desktop-list/desktop-entry/desktop", KeyType::bag, L"", L"the desktop"},
    {L"byuser-list/user-entry/desktop-list/desktop-entry/desktop/display-name", KeyType::text, L"",
     L"name shown to people"},
    {L"byuser-list/user-entry/desktop-list/desktop-entry/desktop/name", KeyType::text, L"",
     L"name of its entry"},
};
inline constexpr Key levelsByDesktop[] = {
    {L"bydesktop-list", KeyType::bag, L"", L"the report by desktop"},
    {L"bydesktop-list/desktop-entry", KeyType::bagList, L"", L"one for each desktop"},
    {L"bydesktop-list/desktop-entry/desktop", KeyType::bag, L"", L"the desktop"},
    {L"bydesktop-list/desktop-entry/desktop/display-name", KeyType::text, L"", L"name shown to people"},
    {L"bydesktop-list/desktop-entry/desktop/name", KeyType::text, L"", L"name of its entry"},
    {L"bydesktop-list/desktop-entry/user-list", KeyType::bag, L"", L"the users who have lost the desktop"},
    {L"bydesktop-list/desktop-entry/user-list/user-entry", KeyType::bagList, L"", L"one for each user"},
    {L"bydesktop-list/desktop-entry/user-list/user-entry/user", KeyType::bag, L"",
     L"who the user is, with the keys of getUserInformation"},
    {L"bydesktop-list/desktop-entry/user-list/user-entry/user/sid", KeyType::text, L"", L"the user's SID"},
};

inline constexpr Key reportMachines[] = {
    {L"machine-list", KeyType::bag, L"", L"the machines that the user still has"},
    {L"machine-list/machine", KeyType::bagList, L"", L"one for each machine"},
    {L"machine-list/machine/display-name", KeyType::text, L"", L"name shown to people"},
    {L"machine-list/machine/name", KeyType::text, L"", L"name of its entry"},
    {L"machine-list/machine/moid", KeyType::text, L"", L"identifier in the virtual infrastructure"},
    {L"machine-list/machine/vmpath", KeyType::text, L"", L"path in the virtual infrastructure"},
    {L"machine-list/machine/pool-dn", KeyType::text, L"", L"entry of the pool that it belongs to"},
    {L"machine-list/machine/nodarium-dn", KeyType::text, L"", L"the pool's management server: its entry"},
    {L"machine-list/machine/nodarium-url", KeyType::text, L"",
     L"the pool's management server: where it is reached"},
    {L"machine-list/machine/unentitled-type", KeyType::bag, L"", L"what ties the machine to the user"},
    {L"machine-list/machine/unentitled-type/assigned-to-user", KeyType::flag, L"", L"the user is its owner"},
    {L"machine-list/machine/unentitled-type/checked-out-by-user", KeyType::flag, L"",
     L"the user has it checked out"},
};
inline constexpr Key machineReport[] = {
    {L"unentitled-machine-report", KeyType::bag, L"", L"the report"},
};
inline constexpr wchar_t machineReportPath[] = L"unentitled-machine-report";
inline constexpr wchar_t machinesByUserPath[] =
    L"unentitled-machine-report/byuser-list/user-entry/desktop-list/desktop-entry";
inline constexpr wchar_t machinesByDesktopPath[] =
    L"unentitled-machine-report/bydesktop-list/desktop-entry/user-list/user-entry";
inline constexpr auto getUnentitledMachinesResult =
    joined<machineReport, under<machineReportPath, levelsByUser>, under<machinesByUserPath, reportMachines>,
           under<machineReportPath, levelsByDesktop>, under<machinesByDesktopPath, reportMachines>,
           silentResult>;
inline constexpr Operation getUnentitledMachines{
    .name = L"getUnentitledMachines",
    .run = answer<&Unentitled::getUnentitledMachines>,
    .text =
        L"Reports machines that are assigned to or checked out by users who are not entitled to them any "
        L"more.",
    .request = unentitledRequest,
    .result = getUnentitledMachinesResult,
    .example = L"listbyuser=false",
};

inline constexpr Key reportPolicies[] = {
    {L"policy-list", KeyType::bag, L"", L"the policies that are still there"},
    {L"policy-list/policy", KeyType::bagList, L"", L"one for each policy"},
    {L"policy-list/policy/display-name", KeyType::text, L"", L"name shown to people"},
    {L"policy-list/policy/description", KeyType::text, L"", L"description"},
    {L"policy-list/policy/name", KeyType::text, L"", L"name of its entry"},
    {L"policy-list/policy/state", KeyType::text, L"", L"Not Set, Disabled or Enabled"},
    {L"policy-list/policy/offline-allowed", KeyType::text, L"",
     L"offline use of the desktop: Inherit, Allow or Deny"},
    {L"policy-list/policy/client-rollback-allowed", KeyType::text, L"",
     L"rollback from the client: Inherit, Allow or Deny"},
    {L"policy-list/policy/offline-cache-lifetime", KeyType::text, L"",
     L"how long offline use may last, as it is stored"},
    {L"policy-list/policy/usb-allowed", KeyType::text, L"", L"access to USB devices: Inherit, Allow or Deny"},
    {L"policy-list/policy/mmr-allowed", KeyType::text, L"",
     L"multimedia redirection: Inherit, Allow or Deny"},
    {L"policy-list/policy/remote-allowed", KeyType::text, L"",
     L"remote use of the desktop: Inherit, Allow or Deny"},
    {L"policy-list/policy/hostcard-acceleration", KeyType::text, L"",
     L"host card acceleration: Inherit, Allow or Deny"},
};
inline constexpr Key policyReport[] = {
    {L"unentitled-policy-report", KeyType::bag, L"", L"the report"},
};
inline constexpr wchar_t policyReportPath[] = L"unentitled-policy-report";
inline constexpr wchar_t policiesByUserPath[] =
    L"unentitled-policy-report/byuser-list/user-entry/desktop-list/desktop-entry";
inline constexpr wchar_t policiesByDesktopPath[] =
    L"unentitled-policy-report/bydesktop-list/desktop-entry/user-list/user-entry";
inline constexpr auto getUnentitledPoliciesResult =
    joined<policyReport, under<policyReportPath, levelsByUser>, under<policiesByUserPath, reportPolicies>,
           under<policyReportPath, levelsByDesktop>, under<policiesByDesktopPath, reportPolicies>,
           silentResult>;
inline constexpr Operation getUnentitledPolicies{
    .name = L"getUnentitledPolicies",
    .run = answer<&Unentitled::getUnentitledPolicies>,
    .text = L"Reports policies set on a desktop for users who are not entitled to that desktop any more.",
    .request = unentitledRequest,
    .result = getUnentitledPoliciesResult,
    .example = L"listbyuser=false",
};

}  // namespace wsadmin::row
