// Rows of the operations on machines and their owners.
#pragma once

#include "framework/operation_table.h"
#include "framework/operations/common_keys.h"
#include "machines/handlers.h"

namespace wsadmin::row {

inline constexpr KeyInfo getMachineInfoRequest[] = {
    {L"username", L"text", L"",
     L"only machines assigned to this account: DOMAIN\\user, user@domain or a bare name"},
    {L"desktopName", L"text", L"", L"only machines of this pool"},
    {L"machineName", L"text", L"",
     L"only the machine of this name; not together with username or desktopName"},
    {L"machineDn", L"text", L"ou=Servers, dc=vdi,dc=talvex,dc=int", L"the entry below which to search"},
    {L"forceFullListing", L"boolean", L"false", L"all keys, also when all machines are listed"},
};
inline constexpr KeyInfo getMachineInfoResult[] = {
    {L"machine-list", L"bag", L"", L"the machines found; empty when none"},
    {L"machine-list/machine-entry", L"bag list", L"", L"one for each machine"},
    {L"machine-list/machine-entry/dn", L"text", L"", L"distinguished name"},
    {L"machine-list/machine-entry/machine-name", L"text", L"", L"name shown to people"},
    {L"machine-list/machine-entry/assigned-user-sid", L"text", L"",
     L"the owner's SID; this and the keys below only in a full listing"},
    {L"machine-list/machine-entry/assigned-user-domain", L"text", L"", L"DNS name of the owner's domain"},
    {L"machine-list/machine-entry/assigned-user-account-name", L"text", L"", L"the owner's logon name"},
    {L"machine-list/machine-entry/id", L"text", L"", L"name of the entry in the directory"},
    {L"machine-list/machine-entry/state", L"text", L"", L"state of the virtual machine"},
    {L"machine-list/machine-entry/moid", L"text", L"", L"identifier in the virtual infrastructure"},
    {L"machine-list/machine-entry/ipHost", L"text", L"", L"network address"},
    {L"machine-list/machine-entry/ipHostOverride", L"text", L"",
     L"network address to use in place of ipHost"},
    {L"machine-list/machine-entry/vmpath", L"text", L"", L"path in the virtual infrastructure"},
    {L"machine-list/machine-entry/template", L"text", L"", L"template that it was made from"},
    {L"machine-list/machine-entry/created", L"text", L"", L"when it was made"},
    {L"machine-list/machine-entry/pool-dn", L"text", L"",
     L"entry of the pool that it belongs to; this and pool-name only where it belongs to one"},
    {L"machine-list/machine-entry/pool-name", L"text", L"", L"identifier of that pool"},
    {L"machine-list/machine-entry/local-status", L"text", L"",
     L"local when a user has it checked out, otherwise remote"},
    directoryError,
};
inline constexpr Operation getMachineInfo{
    .name = L"getMachineInfo",
    .bag = wsadmin::getMachineInfo,
    .text = L"Lists machines: all of them by name, or those of a pool, an owner or a name with all details.",
    .request = getMachineInfoRequest,
    .result = getMachineInfoResult,
    .example = L"desktopName=sales",
};

inline constexpr KeyInfo setVMOwnershipRequest[] = {
    {L"desktop", L"text", L"", L"required; the pool, which must be one whose machines have owners"},
    {L"machineName", L"text", L"", L"the machine; without it, the one that the user owns in the pool"},
    {L"userName", L"text", L"", L"the user by account: DOMAIN\\user, user@domain or a bare name"},
    {L"sid", L"text", L"", L"the user by SID, in place of userName"},
    {L"removeAssignment", L"boolean", L"false", L"take the owner away instead of setting one"},
};
inline constexpr Operation setVMOwnership{
    .name = L"setVMOwnership",
    .bag = wsadmin::setVMOwnership,
    .changes = true,
    .text = L"Assigns a machine of a pool to a user, or takes its owner away.",
    .request = setVMOwnershipRequest,
    .result = changeResult,
    .example = L"desktop=engineering machineName=vm-engineering-15 userName=\"CORP\\dave\"",
};

inline constexpr KeyInfo markMachineForSpaceReclamationRequest[] = {
    {L"machineName", L"text", L"", L"required; the virtual machine's name"},
    {L"desktopName", L"text", L"", L"required; the pool that it belongs to"},
};
inline constexpr Operation markMachineForSpaceReclamation{
    .name = L"markMachineForSpaceReclamation",
    .bag = wsadmin::markMachineForSpaceReclamation,
    .changes = true,
    .text = L"Marks a virtual machine so that the unused space of its disks is reclaimed.",
    .request = markMachineForSpaceReclamationRequest,
    .result = changeResult,
    .example = L"desktopName=sales machineName=vm-sales-01",
};

inline constexpr KeyInfo getMachineAgentInfoRequest[] = {
    {L"desktopName", L"text", L"", L"required; the pool"},
    {L"machineName", L"text", L"", L"only the machine of this name"},
};
inline constexpr KeyInfo getMachineAgentInfoResult[] = {
    {L"machine-list", L"bag", L"", L"the machines found"},
    {L"machine-list/machine-entry", L"bag list", L"", L"one for each machine"},
    {L"machine-list/machine-entry/machine-name", L"text", L"", L"name shown to people"},
    {L"machine-list/machine-entry/ipHost", L"text", L"", L"network address"},
    {L"machine-list/machine-entry/ipHostOverride", L"text", L"",
     L"network address to use in place of ipHost"},
    directoryError,
};
inline constexpr Operation getMachineAgentInfo{
    .name = L"getMachineAgentInfo",
    .bag = wsadmin::getMachineAgentInfo,
    .text = L"Lists the network addresses under which the agents of a pool's machines are reached.",
    .request = getMachineAgentInfoRequest,
    .result = getMachineAgentInfoResult,
    .example = L"desktopName=sales",
};

inline constexpr KeyInfo setMachineAgentInfoRequest[] = {
    {L"desktopName", L"text", L"", L"required; the pool"},
    {L"machineName", L"text", L"", L"required; the machine"},
    {L"ipAddress", L"text", L"",
     L"IP address or DNS name to use from now on; empty removes the one set before"},
};
inline constexpr KeyInfo setMachineAgentInfoResult[] = {
    {L"status", L"text", L"", L"OK"},
    directoryError,
};
inline constexpr Operation setMachineAgentInfo{
    .name = L"setMachineAgentInfo",
    .bag = wsadmin::setMachineAgentInfo,
    .changes = true,
    .text =
        L"Sets the network address under which a machine's agent is reached, or goes back to the machine's "
        L"own.",
    .request = setMachineAgentInfoRequest,
    .result = setMachineAgentInfoResult,
    .example = L"desktopName=sales machineName=vm-sales-01 ipAddress=10.0.1.111",
};

inline constexpr KeyInfo setDefaultDesktopRequest[] = {
    {L"username", L"text", L"", L"required; the user as DOMAIN\\user, user@domain or a bare name"},
    {L"desktopname", L"text", L"", L"identifier of the desktop; empty removes the user's default"},
};
inline constexpr Operation setDefaultDesktop{
    .name = L"setDefaultDesktop",
    .bag = wsadmin::setDefaultDesktop,
    .changes = true,
    .text = L"Sets or removes the desktop that a user's thin client connects to without asking.",
    .request = setDefaultDesktopRequest,
    .result = changeResult,
    .example = L"username=\"CORP\\alice\" desktopname=support",
};

}  // namespace wsadmin::row
