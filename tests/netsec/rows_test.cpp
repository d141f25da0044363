// What rows of data can say of this folder.
#include "support/rows.h"
#include "netsec/firewall_rules_manager.h"
#include "netsec/firewall_state.h"
#include "netsec/inter_pod_rule.h"
#include "netsec/ipsec_commands.h"
#include "netsec/rule_names.h"
#include "platform/lab/network_policy.h"
#include "platform/portable/memory_registry.h"
#include "support/counting_ports.h"
#include "support/log_capture.h"
#include "support/test_service.h"

namespace wstest {

namespace {

Json commandsOf(const Json& in) {
    const ipsec::Pairing pairing{in.at("endpoint"), in.at("listener")};
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

Json groupPolicy(const Json& in) {
    std::optional<RegistryData> value;
    if (in.is_string()) value = CORE::toWide(in.get<std::string>());
    if (in.is_number()) value = in.get<std::uint32_t>();
    const int number = firewall::groupPolicyOf(value);
    return {number, orNull(firewall::onByGroupPolicy(number))};
}

Json failedStep(const Json& in) {
    using Question = CORE::PropertyBag (*)(ServiceContext&, const CORE::PropertyBag&);
    static const std::map<std::string, Question> questions{
        {"isOn", ask<&FirewallRulesManager::isFirewallOn>},
        {"isEnabled", ask<&FirewallRulesManager::isFirewallRuleEnabled>},
        {"enable", ask<&FirewallRulesManager::enableFirewallRule>}};
    constexpr int denied = static_cast<int>(0x80070005U);
    const std::string call = in[1];
    const auto calls = std::make_shared<PortCalls>();
    const auto policy =
        std::make_shared<lab::LabPolicy>(lab::NetworkPolicy{.firewallRules = {{.name = "r"}, {.name = "r"}}});
    const auto machine = std::make_shared<Platform>();
    machine->registry = std::make_shared<MemoryRegistry>();
    if (!call.empty())
        machine->firewall = std::make_shared<CountingFirewall>(lab::makeLabFirewall(policy), calls);
    TestService service(machine);
    CORE::PropertyBag request;
    request.set(L"RULE", L"r");
    request.setBool(L"MAYNOTEXIST", true);  // for which no failure is taken
    calls->restart(PortFault{.call = call, .occurrence = in[2], .code = denied});
    const LogCapture log(CORE::logWarning);
    const auto answer = questions.at(in[0])(service, request);
    EXPECT_FALSE(answer.getBool(L"ENABLED"));
    EXPECT_EQ(calls->faultHappened(), !call.empty());
    EXPECT_EQ(calls->live, 0);
    Json told{CORE::toUtf8(answer.getErrorText())};
    for (const auto& [level, text] : log.lines())
        told.push_back(CORE::toUtf8(CORE::logLevelName(level)) + " " + CORE::toUtf8(text));
    return told;
}

// What the line answers, and how many rules there are then: firewall, main mode, quick mode.
Json ranLine(const Json& in) {
    lab::LabPolicy policy({.firewallRules = {{.name = "a"}, {.name = "A"}, {.name = "b"}},
                           .mainMode = {{.name = "a"}},
                           .quickMode = {{.name = "a"}}});
    const int status = lab::runCommandLine(in.get<std::string>(), policy);
    const auto now = policy.now();
    return {status, now.firewallRules.size(), now.mainMode.size(), now.quickMode.size()};
}

}  // namespace

TEST(Rows, OfIPsecAndFirewall) {
    tryRows(
        WS_SOURCE_DIR "/tests/netsec/rows.jsonl",
        {{"commands", commandsOf},
         {"masked", [](const Json& in) { return CORE::toUtf8(ipsec::maskedLine(in.get<std::string>())); }},
         {"staysQuoted", [](const Json& in) { return ipsec::staysQuoted(in.get<std::string>()); }},
         {"isAction", [](const Json& in) { return ipsec::isRuleAction(in.get<std::string>()); }},
         {"address", addressOf},
         {"groupPolicy", groupPolicy},
         {"failedStep", failedStep},
         {"line", ranLine}});
}

TEST(InterPodRule, ThatNobodySwitchesIsLogged) {
    const LogCapture log(CORE::logWarning);
    switchInterPodRule(true);
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{{CORE::logWarning, L"Unable to configure VIPA firewall: noWorker"}}));
}

}  // namespace wstest
