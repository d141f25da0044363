// What each operation of the federation asks for before it runs, which flags it marks meanwhile, and what it
// leaves: a row an operation.
#pragma once

#include <optional>
#include <string_view>

#include "federation/state.h"

namespace wsadmin::qrv {

enum class Layer { notAsked, mustExist, mustNotExist };
enum class Further { none, recentServers, severalPods, onePod };
enum class Marks { none, server, serverAndPod };

// The flags that this server and its pod have to have, and the sentence where one differs.
struct RequiredFlags {
    int server;
    int pod;
    std::wstring_view sentence;
};

// After a body that failed, what it left is removed unless this value of the product's key forbids it.
struct FailurePath {
    std::wstring_view cleanupSwitch;
    bool tellsOutcome;  // the answer says which step failed
};

struct OperationRule {
    std::wstring_view name;  // as the log has it
    Layer layer;
    Further further;
    std::optional<RequiredFlags> required;
    Marks marks;         // the flags that are pending while it runs
    int final;           // what they are after a success
    bool touchesGroups;  // then the groups of the pod's administrators replicate again
    std::optional<FailurePath> failure;
};

namespace rule {

inline constexpr RequiredFlags bothDisabled{
    disabled, disabled, L"Local flags for the global LDAP layer state are not explicitly disabled"};
inline constexpr RequiredFlags bothEnabled{
    enabled, enabled, L"Local flags for the global LDAP layer state are not explicitly enabled"};
inline constexpr std::wstring_view outOfSync = L"Local flags for the global LDAP layer state are not in sync";
// A replica is installed where the pod takes part and the server does not, and removed the other way round.
inline constexpr RequiredFlags podAlone{disabled, enabled, outOfSync};
inline constexpr RequiredFlags serverAlone{enabled, disabled, outOfSync};
inline constexpr FailurePath afterInit{L"CleanupFailedQrvInit", true};
inline constexpr FailurePath afterJoin{L"CleanupFailedQrvJoin", true};
inline constexpr FailurePath afterReplica{L"CleanupFailedQrvJoin", false};

// clang-format off
using enum Layer;
using enum Marks;
using F = Further;
//                                      layer         further           flags         marks         final     touches failure
inline constexpr OperationRule init{
    L"Init",                            mustNotExist, F::recentServers, bothDisabled, serverAndPod, enabled,  true,  afterInit};
inline constexpr OperationRule join{
    L"Join",                            mustNotExist, F::recentServers, bothDisabled, serverAndPod, enabled,  true,  afterJoin};
inline constexpr OperationRule installReplica{
    L"Install Replica",                 mustNotExist, F::none,          podAlone,     server,       enabled,  false, afterReplica};
inline constexpr OperationRule checkEnablement{
    L"Check Enablement",                mustExist,    F::none,          bothEnabled,  none,         enabled,  false, {}};
inline constexpr OperationRule unjoin{
    L"Unjoin",                          mustExist,    F::severalPods,   bothEnabled,  serverAndPod, disabled, false, {}};
inline constexpr OperationRule uninit{
    L"Uninit",                          mustExist,    F::onePod,        bothEnabled,  serverAndPod, disabled, false, {}};
inline constexpr OperationRule uninstallReplica{
    L"Uninstall Replica",               mustExist,    F::none,          serverAlone,  server,       disabled, false, {}};
// These are for what another server left; they write no flags of this one.
inline constexpr OperationRule eject{
    L"Eject",                           notAsked,     F::none,          {},           none,         enabled,  true,  {}};
inline constexpr OperationRule removePodEndpoint{
    L"removePodEndpoint",               mustExist,    F::none,          {},           none,         enabled,  false, {}};
// clang-format on

}  // namespace rule

}  // namespace wsadmin::qrv
