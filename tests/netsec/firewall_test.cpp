// What is told of each step that fails while the firewall is asked or a rule is switched.
#include <gtest/gtest.h>

#include "netsec/firewall_rules_manager.h"
#include "platform/lab/network_policy.h"
#include "platform/portable/memory_registry.h"
#include "support/counting_ports.h"
#include "support/log_capture.h"
#include "support/test_service.h"

namespace wstest {

namespace {

using Question = CORE::PropertyBag (*)(ServiceContext&, const CORE::PropertyBag&);
constexpr int denied = static_cast<int>(0x80070005U);

struct FailedStep {
    Question question;
    const char* call;
    int occurrence;
    std::wstring sentence;  // of the answer; empty: it is no error
    std::vector<LogLine> log;
};

const std::vector<LogLine> unopened{
    {CORE::logError, L"injected failed. Return value: 0x80070005."},
    {CORE::logError, L"Unable to check firewall state, could not initialize"}};
// The search for rules names the step that failed.
std::vector<LogLine> unfound(const std::wstring& step = L"injected") {
    return {{CORE::logWarning, step + L". HRESULT: 0x80070005"},
            {CORE::logWarning, L"Unable to get firewall rule. HRESULT: 0x80070005"}};
}

}  // namespace

TEST(Firewall, EachFailedStepIsTold) {
    const Question isOn = ask<&FirewallRulesManager::isFirewallOn>;
    const Question isEnabled = ask<&FirewallRulesManager::isFirewallRuleEnabled>;
    const Question enable = ask<&FirewallRulesManager::enableFirewallRule>;
    const std::wstring unknown = L"Failed to query firewall status", absent = L"Unable to find rule",
                       unset = L"Unable to set firewall rule enabled state";
    const auto warning = [](std::wstring text) { return std::vector{LogLine{CORE::logWarning, text}}; };
    const FailedStep steps[] = {
        {isOn, "firewall open", 1, unknown, unopened},
        {isOn, "firewall currentProfiles", 1, unknown,
         warning(L"get_CurrentProfileTypes failed. HRESULT: 0x80070005")},
        {isOn, "firewall enabled", 1, unknown,
         warning(L"Failed to get FirewallEnabled for DomainProfile profile. HRESULT: 0x80070005")},
        {isEnabled, "firewall open", 1, absent, unopened},
        {isEnabled, "firewall rules", 1, absent, unfound()},
        {isEnabled, "firewall next", 1, absent, unfound()},
        {isEnabled, "firewall rule name", 2, absent, unfound(L"get_Name failed")},
        {isEnabled, "firewall open", 2, {}, unopened},
        {isEnabled, "firewall rules", 2, {}, unfound()},
        {isEnabled,
         "firewall rule enabled",
         1,
         {},
         warning(L"Unable to get firewall rule enabled state. HRESULT: 0x80070005")},
        {enable, "firewall open", 1, unset, unopened},
        {enable, "firewall next", 1, unset, unfound()},
        {enable, "firewall rules", 2, unset, unfound()},
        {enable, "firewall rule setEnabled", 2, unset,
         warning(L"Unable to set firewall rule enabled state. HRESULT: 0x80070005")},
    };
    for (const FailedStep& step : steps) {
        SCOPED_TRACE(std::string(step.call) + " " + std::to_string(step.occurrence));
        const auto calls = std::make_shared<PortCalls>();
        auto machine = std::make_shared<Platform>();
        machine->registry = std::make_shared<MemoryRegistry>();
        machine->firewall = std::make_shared<CountingFirewall>(
            lab::makeLabFirewall(std::make_shared<lab::LabPolicy>(
                lab::NetworkPolicy{.firewallRules = {{.name = "r"}, {.name = "r"}}})),
            calls);
        TestService service(machine);
        CORE::PropertyBag request;
        request.set(L"RULE", L"r");
        // A failure is not taken for a rule that does not exist.
        request.setBool(L"MAYNOTEXIST", true);
        calls->restart(PortFault{.call = step.call, .occurrence = step.occurrence, .code = denied});
        const LogCapture log(CORE::logWarning);
        const auto answer = step.question(service, request);
        EXPECT_EQ(answer.getErrorText(), step.sentence);
        EXPECT_FALSE(answer.getBool(L"ENABLED"));
        EXPECT_EQ(log.lines(), step.log);
        EXPECT_TRUE(calls->faultHappened());
        EXPECT_EQ(calls->live, 0);
    }
}

TEST(Firewall, WithoutOneNothingCanBeAsked) {
    TestService service(std::make_shared<Platform>());
    const LogCapture log(CORE::logError);
    EXPECT_EQ(ask<&FirewallRulesManager::isFirewallOn>(service).getErrorText(),
              L"Failed to query firewall status");
    EXPECT_TRUE(log.contains(CORE::logError, L"CoCreateInstance failed. Return value: 0x80004001."));
}

}  // namespace wstest
