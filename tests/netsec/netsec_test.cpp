// Over rows.jsonl what plain functions give; and of the rules of a pairing what no case can say: the keys in
// their command lines, what a stop ends, and the monitor beside requests.
#include "support/rows.h"

#include <thread>

#include "netsec/engine_walk.h"
#include "netsec/firewall_rules_manager.h"
#include "netsec/firewall_state.h"
#include "netsec/inter_pod_rule.h"
#include "netsec/ipsec_commands.h"
#include "netsec/ipsec_operations.h"
#include "netsec/ipsec_rules_manager.h"
#include "netsec/rule_names.h"
#include "platform/lab/lab_platform.h"
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

// An interpreter that asks the test what to do with a line.
struct ScriptedCommands final : CommandInterpreter {
    using Script = std::function<Result<int>(const CORE::secretstring& line)>;
    explicit ScriptedCommands(Script answer) : script(std::move(answer)) {}
    Result<int> run(const CORE::secretstring& line, const CORE::coreevent*) override { return script(line); }
    Script script;
};

// A firewall whose rules do not end.
struct EndlessFirewall final : Firewall, FirewallPolicy, FirewallRules, FirewallRule {
    Result<std::unique_ptr<FirewallPolicy>> open() override { return std::make_unique<EndlessFirewall>(); }
    Result<std::unique_ptr<FirewallRules>> rules() override { return std::make_unique<EndlessFirewall>(); }
    Result<std::unique_ptr<FirewallRule>> next() override { return std::make_unique<EndlessFirewall>(); }
    Result<std::int32_t> currentProfiles() override { return 0; }
    Result<FirewallFlag> enabled(FirewallProfile) override { return firewallTrue; }
    Result<std::wstring> name() override { return L"r"; }
    Result<FirewallFlag> enabled() override { return firewallTrue; }
    Result<void> setEnabled(bool) override { return {}; }
};
struct EndlessEntries final : FilteringEntries<int> {
    Result<std::vector<int>> next() override { return std::vector<int>(filteringBatch); }
};

// The sample lab with the rules of two pairings that its directory does not have.
std::shared_ptr<Platform> labWithVanishedPairings() {
    auto machine = lab::openLab(WS_SOURCE_DIR "/labs/sample", lab::Changes::dropped).value();
    machine->save = nullptr;
    for (const char* endpoint : {"10.9.0.1", "10.9.0.2"})
        for (const auto& line :
             {ipsec::addFirewallRules({endpoint, true}), ipsec::addMainModeRule({endpoint, true}, "k"),
              ipsec::addQuickModeRule({endpoint, true}, "noauthentication", "k")})
            EXPECT_EQ(machine->commands->run(line, nullptr).value(), 0);
    return machine;
}

CORE::refptr<IPsecRulesManager> monitorOf(const std::shared_ptr<Platform>& machine,
                                          CORE::ThreadGroup& threads,
                                          std::chrono::milliseconds interval = std::chrono::hours(1)) {
    return CORE::refptr<IPsecRulesManager>::adopt(new IPsecRulesManager(machine, threads, interval));
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

TEST(Firewall, ThatIsNotThereAndRulesThatAreGoneOrDoNotEndAreTold) {
    const auto machine = std::make_shared<Platform>();
    TestService service(machine);
    CORE::PropertyBag request;
    request.set(L"remoteEndpointIP", L"10.1.2.3");
    request.set(L"RULE", L"other");
    const LogCapture log(CORE::logWarning);
    EXPECT_EQ(ask<&FirewallRulesManager::isFirewallOn>(service).getErrorText(),
              L"Failed to query firewall status");
    EXPECT_EQ(ask<&IPsecOperations::getEndpoints>(service, request).getErrorText(),
              L"inet_ntop not available");
    switchInterPodRule(true);
    machine->firewall = std::make_shared<EndlessFirewall>();
    ask<&FirewallRulesManager::isFirewallRuleEnabled>(service, request);
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{
                               {CORE::logError, L"CoCreateInstance failed. Return value: 0x80004001."},
                               {CORE::logError, L"Unable to check firewall state, could not initialize"},
                               {CORE::logError, L"Failed to get inet_ntop proc address"},
                               {CORE::logWarning, L"Unable to configure VIPA firewall: noWorker"},
                               {CORE::logWarning, L"Unable to get next from enumerator. HRESULT: 0x8000ffff"},
                               {CORE::logWarning, L"Unable to get firewall rule. HRESULT: 0x8000ffff"}}));

    const auto policy =
        std::make_shared<lab::LabPolicy>(lab::NetworkPolicy{.firewallRules = {{.name = "r"}}});
    const auto rule = lab::makeLabFirewall(policy)->open().value()->rules().value()->next().value();
    lab::runCommandLine("netsh advfirewall firewall delete rule name=\"r\"", *policy);
    EXPECT_EQ(rule->enabled().error().text, L"The rule is gone.");
    EXPECT_EQ(rule->setEnabled(true).error().text, L"The rule is gone.");
}

TEST(Engine, WhoseEntriesDoNotEndIsLeftAndNoneIsAskedForAfterAStop) {
    EndlessEntries entries;
    CORE::coreevent stopping;
    const auto on = [](int) { return ipsec::Walk::on; };
    for (const wchar_t* sentence : {L"The enumeration does not end", L"The service is stopping"}) {
        EXPECT_EQ(ipsec::walk(
                      entries, stopping, [](std::size_t) {}, on)
                      .error()
                      .text,
                  sentence);
        stopping.set();
    }
}

TEST(IPsec, MainModeHasTheFirstKeyAndQuickModeTheSecondUnlessTheServiceStops) {
    const auto machine = std::make_shared<Platform>();
    machine->installation = {CORE::InstType::connectionServer, 10, true, false};
    CORE::PropertyBag request;
    request.set(L"remoteEndpointIP", L"10.1.2.3");
    request.set(L"preSharedKey", L"first-key");
    request.set(L"pfsSharedKey", L"second-key");
    for (const bool stops : {false, true}) {
        TestService service(machine);
        std::vector<std::string> lines;
        machine->commands = std::make_shared<ScriptedCommands>([&](const CORE::secretstring& line) {
            lines.emplace_back(line.view());
            if (stops) service.stop();
            return 0;
        });
        EXPECT_EQ(ask<&IPsecOperations::add>(service, request).getError(), stops);
        ASSERT_EQ(lines.size(), stops ? 1u : 3u);
        if (stops) break;
        EXPECT_NE(lines[1].find(" auth1psk=\"first-key\" mmsecmethods"), std::string::npos);
        EXPECT_NE(lines[2].find(" auth1psk=\"second-key\" qmpfs"), std::string::npos);
    }
}

TEST(Monitor, EndsBetweenTwoCommandsWhenTheServiceStops) {
    constexpr int allCommands = 4;  // two lines a pairing
    for (const int stopAt : {1, 2, 3, allCommands + 1}) {
        CORE::ThreadGroup threads(L"monitor");
        const auto machine = labWithVanishedPairings();
        const auto manager = monitorOf(machine, threads);
        int run = 0;
        machine->commands =
            std::make_shared<ScriptedCommands>([&, real = machine->commands](const CORE::secretstring& line) {
                if (++run == stopAt) manager->stop();
                return real->run(line, nullptr);
            });
        manager->monitor();
        EXPECT_EQ(run, std::min(stopAt, allCommands));
        manager->stop();
        EXPECT_EQ(manager->RefCount(), 1);
    }
}

TEST(Monitor, RunsAgainAfterEachRun) {
    for (const bool hasEngine : {true, false}) {
        CORE::ThreadGroup threads(L"monitor");
        const auto machine = labWithVanishedPairings();
        if (!hasEngine) machine->filtering.reset();
        const std::wstring_view sign =
            hasEngine ? L"Number of IP addresses found" : L"FwpmEngineOpen failed. Return value: 50.";
        std::atomic<int> runs{0};
        CORE::coreevent enough;
        const auto sink = CORE::addLogSink(CORE::logDebug, [&](auto, auto, std::wstring_view text) {
            if (text.starts_with(sign) && ++runs == 3) enough.set();
        });
        const auto manager = monitorOf(machine, threads, std::chrono::milliseconds(1));
        manager->monitor();
        EXPECT_TRUE(enough.waitFor(std::chrono::minutes(1)));
        manager->stop();
    }
}

TEST(Monitor, RunsBesideRequests) {
    constexpr int count = 16, turns = 20;
    CORE::ThreadGroup group(L"monitor");
    const auto machine = labWithVanishedPairings();
    lab::NetworkPolicy content;
    for (int i = 0; i < count; ++i) content.firewallRules.push_back({.name = "r" + std::to_string(i)});
    machine->firewall = lab::makeLabFirewall(std::make_shared<lab::LabPolicy>(content));
    TestService service(machine);
    const auto manager = monitorOf(machine, group);
    std::vector<std::jthread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back([&, i] {
            CORE::PropertyBag rule;
            rule.set(L"RULE", std::wstring_view(L"r" + std::to_wstring(i)));
            for (int turn = 0; turn < turns; ++turn)
                for (const bool on : {false, true}) {
                    on ? ask<&FirewallRulesManager::enableFirewallRule>(service, rule)
                       : ask<&FirewallRulesManager::disableFirewallRule>(service, rule);
                    const auto answer = ask<&FirewallRulesManager::isFirewallRuleEnabled>(service, rule);
                    EXPECT_EQ(answer.getBool(L"ENABLED", !on), on);
                }
        });
    for (int turn = 0; turn < 2; ++turn) threads.emplace_back([&] { manager->monitor(); });
    threads.clear();
    manager->stop();
}

}  // namespace wstest
