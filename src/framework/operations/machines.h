// Rows of the operations on machines and their owners.
#pragma once

#include "framework/operation_table.h"
#include "framework/operations/common_keys.h"
#include "machines/default_desktop.h"
#include "machines/machine_keys.h"
#include "machines/machine_operations.h"

namespace wsadmin::row {

inline constexpr Key getMachineInfoRequest[] = {
    key::machineOwner, key::machinePool, key::machineName, key::machineDn, key::forceFullListing,
};
inline constexpr Key getMachineInfoResult[] = {
    {L"machine-list", KeyType::bag, L"", L"the machines found; empty when none"},
    {L"machine-list/machine-entry", KeyType::bagList, L"", L"one for each machine"},
    {L"machine-list/machine-entry/dn", KeyType::text, L"", L"distinguished name"},
    {L"machine-list/machine-entry/machine-name", KeyType::text, L"", L"name shown to people"},
    {L"machine-list/machine-entry/assigned-user-sid", KeyType::text, L"",
     L"the owner's SID; this and the keys below only in a full listing"},
    {L"machine-list/machine-entry/assigned-user-domain", KeyType::text, L"",
     L"DNS name of the owner's domain"},
    {L"machine-list/machine-entry/assigned-user-account-name", KeyType::text, L"", L"the owner's logon name"},
    {L"machine-list/machine-entry/id", KeyType::text, L"", L"name of the entry in the directory"},
    {L"machine-list/machine-entry/state", KeyType::text, L"", L"state of the virtual machine"},
    {L"machine-list/machine-entry/moid", KeyType::text, L"", L"identifier in the virtual infrastructure"},
    {L"machine-list/machine-entry/ipHost", KeyType::text, L"", L"network address"},
    {L"machine-list/machine-entry/ipHostOverride", KeyType::text, L"",
     L"network address to use in place of ipHost"},
    {L"machine-list/machine-entry/vmpath", KeyType::text, L"", L"path in the virtual infrastructure"},
    {L"machine-list/machine-entry/template", KeyType::text, L"", L"template that it was made from"},
    {L"machine-list/machine-entry/created", KeyType::text, L"", L"when it was made"},
    {L"machine-list/machine-entry/pool-dn", KeyType::text, L"",
     L"entry of the pool that it belongs to; this and pool-name only where it belongs to one"},
    {L"machine-list/machine-entry/pool-name", KeyType::text, L"", L"identifier of that pool"},
    {L"machine-list/machine-entry/local-status", KeyType::text, L"",
     L"local when a user has it checked out, otherwise remote"},
    directoryError,
};
inline constexpr Operation getMachineInfo{
    .name = L"getMachineInfo",
    .run = answer<&Machine::getMachineInfo>,
    .text = L"Lists machines: all of them by name, or those of a pool, an owner or a name with all details.",
    .request = getMachineInfoRequest,
    .result = getMachineInfoResult,
    .example = L"desktopName=sales",
};

inline constexpr Key setVMOwnershipRequest[] = {
    key::ownedPool, key::ownedMachine, key::ownerName, key::ownerSid, key::removeAssignment,
};
inline constexpr Operation setVMOwnership{
    .name = L"setVMOwnership",
    .run = answer<&Machine::setVMOwnership>,
    .changes = true,
    .text = L"Assigns a machine of a pool to a user, or takes its owner away.",
    .request = setVMOwnershipRequest,
    .result = changeResult,
    .example = L"desktop=engineering machineName=vm-engineering-15 userName=\"CORP\\dave\"",
};

inline constexpr Key markMachineForSpaceReclamationRequest[] = {
    key::reclaimedMachine,
    key::reclaimedPool,
};
inline constexpr Operation markMachineForSpaceReclamation{
    .name = L"markMachineForSpaceReclamation",
    .run = answer<&Machine::markMachineForSpaceReclamation>,
    .changes = true,
    .text = L"Marks a virtual machine so that the unused space of its disks is reclaimed.",
    .request = markMachineForSpaceReclamationRequest,
    .result = changeResult,
    .example = L"desktopName=sales machineName=vm-sales-01",
};

inline constexpr Key getMachineAgentInfoRequest[] = {
    key::agentPool,
    key::listedAgent,
};
inline constexpr Key getMachineAgentInfoResult[] = {
    {L"machine-list", KeyType::bag, L"", L"the machines found"},
    {L"machine-list/machine-entry", KeyType::bagList, L"", L"one for each machine"},
    {L"machine-list/machine-entry/machine-name", KeyType::text, L"", L"name shown to people"},
    {L"machine-list/machine-entry/ipHost", KeyType::text, L"", L"network address"},
    {L"machine-list/machine-entry/ipHostOverride", KeyType::text, L"",
     L"network address to use in place of ipHost"},
    directoryError,
};
inline constexpr Operation getMachineAgentInfo{
    .name = L"getMachineAgentInfo",
    .run = answer<&Machine::getMachineAgentInfo>,
    .text = L"Lists the network addresses under which the agents of a pool's machines are reached.",
    .request = getMachineAgentInfoRequest,
    .result = getMachineAgentInfoResult,
    .example = L"desktopName=sales",
};

inline constexpr Key setMachineAgentInfoRequest[] = {
    key::agentPool,
    key::changedAgent,
    key::agentAddress,
};
inline constexpr Key setMachineAgentInfoResult[] = {
    {L"status", KeyType::text, L"", L"OK"},
    directoryError,
};
inline constexpr Operation setMachineAgentInfo{
    .name = L"setMachineAgentInfo",
    .run = answer<&Machine::setMachineAgentInfo>,
    .changes = true,
    .text =
        L"Sets the network address under which a machine's agent is reached, or goes back to the machine's "
        L"own.",
    .request = setMachineAgentInfoRequest,
    .result = setMachineAgentInfoResult,
    .example = L"desktopName=sales machineName=vm-sales-01 ipAddress=10.0.1.111",
};

inline constexpr Key setDefaultDesktopRequest[] = {
    key::desktopUser,
    key::defaultDesktop,
};
inline constexpr Operation setDefaultDesktop{
    .name = L"setDefaultDesktop",
    .run = answer<&DefaultDesktop::setDefaultDesktop>,
    .changes = true,
    .text = L"Sets or removes the desktop that a user's thin client connects to without asking.",
    .request = setDefaultDesktopRequest,
    .result = changeResult,
    .example = L"username=\"CORP\\alice\" desktopname=support",
};

}  // namespace wsadmin::row
