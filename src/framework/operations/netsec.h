// Rows of the operations on IPsec pairing rules and firewall rules of this server.
#pragma once

#include "framework/operation_table.h"

namespace wsadmin::row {

inline constexpr KeyInfo remoteEndpoint{L"remoteEndpointIP", L"text", L"",
                                        L"required; IPv4 or IPv6 address of the paired server"};
inline constexpr KeyInfo remoteEndpointRequest[] = {remoteEndpoint};

inline constexpr KeyInfo addIPsecRulesRequest[] = {
    remoteEndpoint,
    {L"ruleAction", L"text", L"requireinrequireout",
     L"requireinrequireout, requestinrequestout, requireinrequestout, requireinclearout or noauthentication, "
     L"in lower "
     L"case"},
    {L"preSharedKey", L"secret", L"",
     L"required; the key that the two servers prove themselves with (main mode)"},
    {L"pfsSharedKey", L"secret", L"", L"required; the key for the protected channel (quick mode)"},
};
inline constexpr Operation addIPsecRules{
    .name = L"addIPsecRules",
    .changes = true,
    .text = L"Makes the IPsec rules that protect the traffic between this server and the one paired with it.",
    .request = addIPsecRulesRequest,
    .example = L"remoteEndpointIP=10.1.2.3 preSharedKey=@main.key pfsSharedKey=@quick.key",
};

inline constexpr KeyInfo getIPsecEndpointsResult[] = {
    {L"<rule>", L"text", L"", L"under the name of the rule: the remote address in use; nothing when none is"},
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

inline constexpr KeyInfo verifyIPsecRulesActiveResult[] = {
    {L"IPsecRulesActive", L"boolean", L"", L"whether there is one"},
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

inline constexpr KeyInfo ruleName{L"RULE", L"text", L"", L"required; the rule's exact name, with its case"};

inline constexpr KeyInfo switchFirewallRuleRequest[] = {
    ruleName,
    {L"MAYNOTEXIST", L"boolean", L"false", L"do not fail when there is no such rule"},
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

inline constexpr KeyInfo isFirewallOnResult[] = {
    {L"FirewallOn", L"boolean", L"", L"true when it is on for at least one active profile"},
};
inline constexpr Operation isFirewallOn{
    .name = L"isFirewallOn",
    .shape = Shape::responseFilling,
    .text = L"Tells whether this server's firewall is on.",
    .result = isFirewallOnResult,
};

inline constexpr KeyInfo isFirewallRuleEnabledRequest[] = {ruleName};
inline constexpr KeyInfo isFirewallRuleEnabledResult[] = {
    {L"ENABLED", L"boolean", L"", L"whether it is on; the first rule counts where several have the name"},
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
