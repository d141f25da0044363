// Rows of the operations on IPsec pairing rules and firewall rules of this server.
#pragma once

#include "framework/operation_table.h"
#include "netsec/firewall_rules_manager.h"
#include "netsec/ipsec_operations.h"
#include "netsec/netsec_keys.h"

namespace wsadmin::row {

inline constexpr Key remoteEndpointRequest[] = {key::remoteEndpoint};

inline constexpr Key addIPsecRulesRequest[] = {key::remoteEndpoint, key::ruleAction, key::preSharedKey,
                                               key::pfsSharedKey};
inline constexpr Operation addIPsecRules{
    .name = L"addIPsecRules",
    .run = answer<&IPsecOperations::add>,
    .changes = true,
    .text = L"Makes the IPsec rules that protect the traffic between this server and the one paired with it.",
    .request = addIPsecRulesRequest,
    .example = L"remoteEndpointIP=10.1.2.3 preSharedKey=@main.key pfsSharedKey=@quick.key",
};

inline constexpr Key getIPsecEndpointsResult[] = {
    {L"<rule>", KeyType::text, L"",
     L"under the name of the rule: the remote address in use; nothing when none is"},
};
inline constexpr Operation getIPsecEndpoints{
    .name = L"getIPsecEndpoints",
    .run = answer<&IPsecOperations::getEndpoints>,
    .text = L"Tells the remote address that the live IPsec connection with a paired server uses.",
    .request = remoteEndpointRequest,
    .result = getIPsecEndpointsResult,
    .example = L"remoteEndpointIP=10.1.2.3",
};

inline constexpr Operation deleteIPsecRules{
    .name = L"deleteIPsecRules",
    .run = answer<&IPsecOperations::remove>,
    .changes = true,
    .text = L"Deletes the IPsec rules that were made for a paired server.",
    .request = remoteEndpointRequest,
    .example = L"remoteEndpointIP=10.1.2.3",
};

inline constexpr Key verifyIPsecRulesActiveResult[] = {
    {L"IPsecRulesActive", KeyType::boolean, L"", L"whether there is one"},
};
inline constexpr Operation verifyIPsecRulesActive{
    .name = L"verifyIPsecRulesActive",
    .run = answer<&IPsecOperations::verifyActive>,
    .text = L"Tells whether there is a live IPsec connection under the rules made for a paired server.",
    .request = remoteEndpointRequest,
    .result = verifyIPsecRulesActiveResult,
    .example = L"remoteEndpointIP=10.1.2.3",
};

inline constexpr Operation monitorIPsecRules{
    .name = L"monitorIPsecRules",
    .run = answer<&IPsecOperations::monitor>,
    .changes = true,
    .text =
        L"Deletes the IPsec rules of pairings that are gone, at once and from then on at the configured "
        L"interval, unless monitoring is off.",
};

inline constexpr Key switchFirewallRuleRequest[] = {key::ruleName, key::ruleMayNotExist};
inline constexpr Operation disableFirewallRule{
    .name = L"disableFirewallRule",
    .shape = Shape::responseFilling,
    .run = answer<&FirewallRulesManager::disableFirewallRule>,
    .changes = true,
    .text = L"Switches off all rules of one name in this server's firewall.",
    .request = switchFirewallRuleRequest,
    .example = L"RULE=\"Talvex Zenthar Vorn Connection Server (Inter-pod API-In)\" MAYNOTEXIST=true",
};

inline constexpr Operation enableFirewallRule{
    .name = L"enableFirewallRule",
    .shape = Shape::responseFilling,
    .run = answer<&FirewallRulesManager::enableFirewallRule>,
    .changes = true,
    .text = L"Switches on all rules of one name in this server's firewall.",
    .request = switchFirewallRuleRequest,
    .example = L"RULE=\"Talvex Zenthar Vorn Connection Server (Inter-pod API-In)\" MAYNOTEXIST=true",
};

inline constexpr Key isFirewallOnResult[] = {
    {L"FirewallOn", KeyType::boolean, L"", L"true when it is on for at least one active profile"},
};
inline constexpr Operation isFirewallOn{
    .name = L"isFirewallOn",
    .shape = Shape::responseFilling,
    .run = answer<&FirewallRulesManager::isFirewallOn>,
    .text = L"Tells whether this server's firewall is on.",
    .result = isFirewallOnResult,
};

inline constexpr Key isFirewallRuleEnabledRequest[] = {key::ruleName};
inline constexpr Key isFirewallRuleEnabledResult[] = {
    {L"ENABLED", KeyType::boolean, L"",
     L"whether it is on; the first rule counts where several have the name"},
};
inline constexpr Operation isFirewallRuleEnabled{
    .name = L"isFirewallRuleEnabled",
    .shape = Shape::responseFilling,
    .run = answer<&FirewallRulesManager::isFirewallRuleEnabled>,
    .text = L"Tells whether a rule of this server's firewall is switched on.",
    .request = isFirewallRuleEnabledRequest,
    .result = isFirewallRuleEnabledResult,
    .example = L"RULE=\"Talvex Zenthar Vorn Connection Server (Inter-pod API-In)\"",
};

}  // namespace wsadmin::row
