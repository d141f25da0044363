// The command lines that make and delete the IPsec rules of a pairing, and the names of those rules. Plain
// functions over UTF-8 texts. Where a key stands in a line, the line is a secret.
#pragma once

#include <string>
#include <string_view>

#include "framework/core/corestring.h"

namespace wsadmin::ipsec {

// The servers of a pairing talk over this channel; a rule of the other one is looked for, but never made.
inline constexpr std::string_view pairingChannel = "AJP13";
inline constexpr std::string_view messageChannel = "JMS";

struct Pairing {
    std::string endpoint;       // the other server's address
    bool ownsListener = false;  // of the channel: this is the connection server's side
};

std::string mainModeName(std::string_view endpoint);
std::string quickModeName(std::string_view endpoint, std::string_view channel);
std::string firewallRuleName(std::string_view endpoint, std::string_view label);

// Openings for the key exchange, which the listener's side has: two commands in one line.
CORE::secretstring addFirewallRules(const Pairing& pairing);
CORE::secretstring deleteFirewallRules(const Pairing& pairing);
CORE::secretstring addMainModeRule(const Pairing& pairing, std::string_view key);
CORE::secretstring addQuickModeRule(const Pairing& pairing, std::string_view action, std::string_view key);
// Both modes in one line.
CORE::secretstring deleteModeRules(const Pairing& pairing);

bool isRuleAction(std::string_view action) noexcept;  // case counts

// Whether the command interpreter takes the key, which stands between quotation marks, as nothing but a key.
// It does not where a quotation mark inside ends the quotes before a character that the interpreter acts on,
// where the key names a variable, and where it breaks the line.
bool staysQuoted(std::string_view key) noexcept;

// The line for the log: what stands in quotes behind each "auth1psk" is replaced. No other copy of a key is
// made.
std::wstring maskedLine(std::string_view line);

}  // namespace wsadmin::ipsec
