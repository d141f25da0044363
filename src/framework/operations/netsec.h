// Rows of the operations on IPsec pairing rules and firewall rules of this server.
#pragma once

#include "framework/operation_table.h"

namespace wsadmin::row {

inline constexpr Key remoteEndpoint{L"remoteEndpointIP", KeyType::text, L"",
                                    L"IPv4 or IPv6 address of the paired server", Required::yes};
inline constexpr Key remoteEndpointRequest[] = {remoteEndpoint};

inline constexpr Key addIPsecRulesRequest[] = {
    remoteEndpoint,
    {L"ruleAction", KeyType::text, L"requireinrequireout",
     L"requireinrequireout, requestinrequestout, requireinrequestout, requireinclearout or noauthentication, "
     L"in lower "
     L"case"},
    {L"preSharedKey", KeyType::secret, L"", L"the key that the two servers prove themselves with (main mode)",
     Required::yes},
    {L"pfsSharedKey", KeyType::secret, L"", L"the key for the protected channel (quick mode)", Required::yes},
};
inline constexpr Operation addIPsecRules{
    .name = L"addIPsecRules",
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
    .text = L"Tells the remote address that the live IPsec connection with a paired server uses.",
    .request = remoteEndpointRequest,
    .result = getIPsecEndpointsResult,
    .example = L"remoteEndpointIP=10.1.2.3",
};

inline constexpr Operation deleteIPsecRules{
    .name = L"deleteIPsecRules",
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
    .text = L"Tells whether there is a live IPsec connection under the rules made for a paired server.",
    .request = remoteEndpointRequest,
    .result = verifyIPsecRulesActiveResult,
    .example = L"remoteEndpointIP=10.1.2.3",
};

inline constexpr Operation monitorIPsecRules{
    .name = L"monitorIPsecRules",
    .changes = true,
    .text =
        L"Deletes the IPsec rules of pairings that are gone, at once and from then on at the configured "
        L"interval, unless monitoring is off.",
};

inline constexpr Key ruleName{L"RULE", KeyType::text, L"", L"the rule's exact name, with its case",
                              Required::yes};

inline constexpr Key switchFirewallRuleRequest[] = {
    ruleName,
    {L"MAYNOTEXIST", KeyType::boolean, L"false", L"do not fail when there is no such rule"},
};
inline constexpr Operation disableFirewallRule{
    .name = L"disableFirewallRule",
    .shape = Shape::responseFilling,
    .changes = true,
    .text = L"Switches off all rules of one name in this server's firewall.",
    .request = switchFirewallRuleRequest,
    .example = L"RULE=\"Talvex Zenthar Vorn Connection Server (Inter-pod API-In)\" MAYNOTEXIST=true",
};

inline constexpr Operation enableFirewallRule{
    .name = L"enableFirewallRule",
    .shape = Shape::responseFilling,
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
    .text = L"Tells whether this server's firewall is on.",
    .result = isFirewallOnResult,
};

inline constexpr Key isFirewallRuleEnabledRequest[] = {ruleName};
inline constexpr Key isFirewallRuleEnabledResult[] = {
    {L"ENABLED", KeyType::boolean, L"",
     L"whether it is on; the first rule counts where several have the name"},
};
inline constexpr Operation isFirewallRuleEnabled{
    .name = L"isFirewallRuleEnabled",
    .shape = Shape::responseFilling,
    .text = L"Tells whether a rule of this server's firewall is switched on.",
    .request = isFirewallRuleEnabledRequest,
    .result = isFirewallRuleEnabledResult,
    .example = L"RULE=\"Talvex Zenthar Vorn Connection Server (Inter-pod API-In)\"",
};

}  // namespace wsadmin::row
