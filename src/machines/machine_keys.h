// The request keys of the operations on machines and of the reports on lost entitlements.
#pragma once

#include "ldap/operation_request.h"

namespace wsadmin::key {

// getMachineInfo
inline constexpr Key machineOwner{
    L"username", KeyType::text, L"",
    L"only machines assigned to this account: DOMAIN\\user, user@domain or a bare name"};
inline constexpr Key machinePool{L"desktopName", KeyType::text, L"", L"only machines of this pool"};
inline constexpr Key machineName{L"machineName", KeyType::text, L"",
                                 L"only the machine of this name; not together with username or desktopName"};
inline constexpr Key machineDn{L"machineDn", KeyType::text, L"ou=Servers, dc=vdi,dc=talvex,dc=int",
                               L"the entry below which to search"};
inline constexpr Key forceFullListing{L"forceFullListing", KeyType::boolean, L"false",
                                      L"all keys, also when all machines are listed"};

// setVMOwnership
inline constexpr Key ownedPool{L"desktop", KeyType::text, L"",
                               L"the pool, which must be one whose machines have owners", Required::yes};
inline constexpr Key ownedMachine{L"machineName", KeyType::text, L"",
                                  L"the machine; without it, the one that the user owns in the pool",
                                  Required::depends};
inline constexpr Key ownerName{L"userName", KeyType::text, L"",
                               L"the user by account: DOMAIN\\user, user@domain or a bare name; "
                               L"needed to set an owner, or where machineName is missing",
                               Required::depends};
inline constexpr Key ownerSid{L"sid", KeyType::text, L"", L"the user by SID, in place of userName",
                              Required::depends};
inline constexpr Key removeAssignment{L"removeAssignment", KeyType::boolean, L"false",
                                      L"take the owner away instead of setting one"};

// markMachineForSpaceReclamation
inline constexpr Key reclaimedMachine{L"machineName", KeyType::text, L"", L"the virtual machine's name",
                                      Required::yes};
inline constexpr Key reclaimedPool{L"desktopName", KeyType::text, L"", L"the pool that it belongs to",
                                   Required::yes};

// getMachineAgentInfo and setMachineAgentInfo
inline constexpr Key agentPool{L"desktopName", KeyType::text, L"", L"the pool", Required::yes};
inline constexpr Key listedAgent{L"machineName", KeyType::text, L"", L"only the machine of this name"};
inline constexpr Key changedAgent{L"machineName", KeyType::text, L"", L"the machine", Required::yes};
inline constexpr Key agentAddress{
    L"ipAddress", KeyType::text, L"",
    L"IP address or DNS name to use from now on; empty removes the one set before"};

// setDefaultDesktop
inline constexpr Key desktopUser{L"username", KeyType::text, L"",
                                 L"the user as DOMAIN\\user, user@domain or a bare name", Required::yes};
inline constexpr Key defaultDesktop{L"desktopname", KeyType::text, L"",
                                    L"identifier of the desktop; empty removes the user's default"};

// getUnentitledMachines and getUnentitledPolicies
inline constexpr Key listByUser{L"listbyuser", KeyType::boolean, L"true",
                                L"list by user; false lists by desktop"};

}  // namespace wsadmin::key
