// The firewall and the IPsec of a lab's machine: what stands of them in machine.toml, and the ports and
// command lines that read and change them.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/lab/changing.h"
#include "platform/platform.h"

namespace wsadmin::platform::lab {

struct LabProfile {
    std::string_view name;
    FirewallProfile bit;
};
inline constexpr LabProfile labProfiles[] = {
    {"domain", firewallDomain}, {"private", firewallPrivate}, {"public", firewallPublic}};

struct LabFirewallRule {
    std::string name{};
    bool enabled = true;
    std::string localIp = "any", remoteIp = "any", localPort = "any", protocol = "any";
};

// A main-mode rule, or a quick-mode rule, which has ports and an action. Neither has its key here.
struct LabIpsecRule {
    std::string name{};
    std::string endpoint1 = "any", endpoint2 = "any", port1{}, port2{}, action{};
};

// The other side of a pairing, which has its rules: a security association stands as long as this machine has
// its own.
struct LabPeer {
    std::string address;
    std::string
        seenAs;  // the address that the association uses, another one behind a translation of addresses
};

struct NetworkPolicy {
    int activeProfiles = firewallDomain;
    int enabledProfiles = firewallDomain | firewallPrivate | firewallPublic;
    std::vector<LabFirewallRule> firewallRules{};
    std::vector<LabIpsecRule> mainMode{}, quickMode{};
    std::vector<LabPeer> peers{};
};

using LabPolicy = Changing<NetworkPolicy>;

// One entry a peer and quick-mode rule whose both sides have their rules.
std::vector<SecurityAssociation> associationsOf(const NetworkPolicy& policy);
// Each rule's name, main mode first.
std::vector<MainModeContext> contextsOf(const NetworkPolicy& policy);
// What a command line for the interpreter does to the policy: its exit status. It knows the lines of "netsh
// advfirewall" that the system sends, several joined by "&" too.
int runCommandLine(std::string_view line, LabPolicy& policy);

std::shared_ptr<Firewall> makeLabFirewall(std::shared_ptr<LabPolicy> policy);
std::shared_ptr<FilteringPlatform> makeLabFiltering(std::shared_ptr<LabPolicy> policy);
// Runs the lines that netsh is for, and a program whose path stands in quotation marks.
std::shared_ptr<CommandInterpreter> makeLabCommands(std::shared_ptr<LabPolicy> policy,
                                                    std::shared_ptr<Processes> programs = nullptr);

}  // namespace wsadmin::platform::lab
