// What rows of data can say of this folder.
#include "support/rows.h"
#include "netsec/firewall_rules_manager.h"
#include "netsec/firewall_state.h"
#include "netsec/inter_pod_rule.h"
#include "netsec/ipsec_commands.h"
#include "netsec/rule_names.h"
#include "platform/lab/network_policy.h"
#include "support/log_capture.h"
#include "support/test_service.h"

namespace wstest {

namespace {

using namespace wsadmin;
using namespace wsadmin::platform;

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
        {{"masked", [](const Json& in) { return CORE::toUtf8(ipsec::maskedLine(in.get<std::string>())); }},
         {"staysQuoted", [](const Json& in) { return ipsec::staysQuoted(in.get<std::string>()); }},
         {"isAction", [](const Json& in) { return ipsec::isRuleAction(in.get<std::string>()); }},
         {"address", addressOf},
         {"groupPolicy", groupPolicy},
         {"line", ranLine}});
}

TEST(Firewall, ThatIsNotThereIsTold) {
    TestService service(std::make_shared<Platform>());
    const LogCapture log(CORE::logWarning);
    EXPECT_EQ(ask<&FirewallRulesManager::isFirewallOn>(service).getErrorText(),
              L"Failed to query firewall status");
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{
                               {CORE::logError, L"CoCreateInstance failed. Return value: 0x80004001."},
                               {CORE::logError, L"Unable to check firewall state, could not initialize"}}));
}

TEST(InterPodRule, ThatNobodySwitchesIsLogged) {
    const LogCapture log(CORE::logWarning);
    switchInterPodRule(true);
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{{CORE::logWarning, L"Unable to configure VIPA firewall: noWorker"}}));
}

}  // namespace wstest
