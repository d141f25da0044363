// The plain functions of this folder, by rows of data.
#include "support/rows.h"
#include "netsec/firewall_rules_manager.h"
#include "netsec/firewall_state.h"
#include "netsec/ipsec_commands.h"
#include "netsec/rule_names.h"
#include "platform/lab/network_policy.h"
#include "platform/portable/memory_registry.h"
#include "support/test_service.h"

namespace wstest {

namespace {

using namespace wsadmin;

ipsec::Pairing pairingOf(const Json& in) {
    return {in.at("endpoint"), in.at("listener")};
}

Json commandsOf(const Json& in) {
    const auto pairing = pairingOf(in);
    Json lines = Json::array();
    for (const auto& line : {ipsec::addFirewallRules(pairing), ipsec::addMainModeRule(pairing, "main"),
                             ipsec::addQuickModeRule(pairing, "noauthentication", "quick"),
                             ipsec::deleteModeRules(pairing), ipsec::deleteFirewallRules(pairing)})
        lines.push_back(std::string(line.view()));
    return lines;
}

Json addressOf(const Json& in) {
    static constexpr const char* outcomes[] = {"foreign", "no address", "other form"};
    const auto found = ipsec::addressIn(CORE::toWide(in.get<std::string>()));
    if (found.outcome == ipsec::RuleAddress::Outcome::found) return {CORE::toUtf8(found.address)};
    return outcomes[static_cast<int>(found.outcome)];
}

// Each active profile's name with the group policy's value and the local setting.
Json firewallOn(const Json& in) {
    platform::lab::NetworkPolicy policy{.activeProfiles = 0, .enabledProfiles = 0};
    const auto machine = std::make_shared<platform::Platform>();
    machine->registry = std::make_shared<platform::MemoryRegistry>();
    for (const auto& [name, profile] : in.items()) {
        const auto known =
            std::ranges::find(platform::lab::labProfiles, name, &platform::lab::LabProfile::name);
        policy.activeProfiles |= known->bit;
        if (profile.at(1)) policy.enabledProfiles |= known->bit;
        const auto& value = profile.at(0);
        if (value.is_null()) continue;
        const auto data = value.is_string() ? platform::RegistryData(CORE::toWide(value.get<std::string>()))
                                            : platform::RegistryData(value.get<std::uint32_t>());
        const auto place = std::ranges::find(firewall::profiles, known->bit, &firewall::Profile::bit);
        if (!machine->registry->write(
                LR"(HKLM\SOFTWARE\Policies\Microsoft\WindowsFirewall\)" + std::wstring(place->name),
                L"EnableFirewall", data))
            throw std::runtime_error("the registry refused a value");
    }
    machine->firewall =
        platform::lab::makeLabFirewall(std::make_shared<platform::lab::LabPolicy>(std::move(policy)));
    TestService service(machine);
    return ask<&FirewallRulesManager::isFirewallOn>(service).getBool(L"FirewallOn");
}

// What the line answers, and how many rules there are then: firewall, main mode, quick mode.
Json ranLine(const Json& in) {
    platform::lab::LabPolicy policy({.firewallRules = {{.name = "a"}, {.name = "A"}, {.name = "b"}},
                                     .mainMode = {{.name = "a"}},
                                     .quickMode = {{.name = "a"}}});
    const int status = platform::lab::runCommandLine(in.get<std::string>(), policy);
    const auto now = policy.now();
    return {status, now.firewallRules.size(), now.mainMode.size(), now.quickMode.size()};
}

}  // namespace

TEST(Netsec, PlainFunctions) {
    tryRows(
        WS_SOURCE_DIR "/tests/netsec/rows.jsonl",
        {{"commands", commandsOf},
         {"masked", [](const Json& in) { return CORE::toUtf8(ipsec::maskedLine(in.get<std::string>())); }},
         {"staysQuoted", [](const Json& in) { return ipsec::staysQuoted(in.get<std::string>()); }},
         {"isAction", [](const Json& in) { return ipsec::isRuleAction(in.get<std::string>()); }},
         {"address", addressOf},
         {"firewallOn", firewallOn},
         {"line", ranLine}});
}

}  // namespace wstest
