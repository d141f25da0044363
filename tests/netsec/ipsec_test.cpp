// The rules of a pairing: which command lines run, what ends the sequence, and what the monitor leaves alone.
#include <gtest/gtest.h>

#include <cerrno>
#include <thread>

#include "netsec/firewall_rules_manager.h"
#include "netsec/ipsec_commands.h"
#include "netsec/ipsec_operations.h"
#include "netsec/ipsec_rules.h"
#include "netsec/ipsec_rules_manager.h"
#include "platform/lab/lab_platform.h"
#include "platform/lab/network_policy.h"
#include "support/counting_ports.h"
#include "support/log_capture.h"
#include "support/test_service.h"

namespace wstest {

namespace {

// An interpreter that asks the test what to do with a line.
struct ScriptedCommands final : CommandInterpreter {
    using Script = std::function<Result<int>(const CORE::secretstring& line)>;
    explicit ScriptedCommands(Script answer) : script(std::move(answer)) {}
    Result<int> run(const CORE::secretstring& line, const CORE::coreevent*) override { return script(line); }
    Script script;
};

class IPsec : public testing::Test {
  protected:
    IPsec() {
        machine->commands = std::make_shared<ScriptedCommands>([this](const CORE::secretstring& line) {
            lines.emplace_back(line.view());
            return answer();
        });
        machine->installation = {CORE::InstType::connectionServer, 10, true, false};
    }
    template <auto method>
    std::wstring errorOf() {
        lines.clear();
        CORE::PropertyBag request;
        request.set(L"remoteEndpointIP", L"10.1.2.3");
        request.set(L"preSharedKey", L"first-key");
        request.set(L"pfsSharedKey", L"second-key");
        return ask<method>(service, request).getErrorText().str();
    }

    std::shared_ptr<Platform> machine = std::make_shared<Platform>();
    TestService service{machine};
    std::vector<std::string> lines;
    std::function<Result<int>()> answer = [] { return 0; };  // to each line
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

TEST_F(IPsec, MainModeHasTheFirstKeyAndQuickModeTheSecond) {
    EXPECT_EQ(errorOf<&IPsecOperations::add>(), L"");
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_NE(lines[1].find(" auth1psk=\"first-key\" mmsecmethods"), std::string::npos);
    EXPECT_NE(lines[2].find(" auth1psk=\"second-key\" qmpfs"), std::string::npos);
}

TEST_F(IPsec, AFailedStepEndsTheSequenceAndIsLoggedWithStatusAndError) {
    const std::pair<Result<int>, std::wstring> failures[] = {{7, L"7, errno 0"},
                                                             {fail(ENOENT, L"none"), L"-1, errno 2"}};
    for (const auto& failure : failures)
        for (const std::size_t step : {1, 2, 3}) {
            answer = [&] { return lines.size() < step ? 0 : failure.first; };
            const LogCapture log(CORE::logWarning);
            EXPECT_EQ(errorOf<&IPsecOperations::add>(),
                      L"Failed to add IPsec rules for endpoint \"10.1.2.3\"");
            EXPECT_EQ(lines.size(), step);
            EXPECT_EQ(
                log.lines(),
                (std::vector<LogLine>{{CORE::logWarning, L"IPsecRules: netsh command failed - exit status " +
                                                             failure.second}}));
            if (step > 2) continue;
            EXPECT_EQ(errorOf<&IPsecOperations::remove>(),
                      L"Failed to delete IPsec rules for endpoint \"10.1.2.3\"");
            EXPECT_EQ(lines.size(), step);
        }
}

TEST_F(IPsec, AStoppingServiceBeginsNoFurtherCommand) {
    answer = [&] { return service.stop(), 0; };
    EXPECT_NE(errorOf<&IPsecOperations::add>(), L"");
    EXPECT_EQ(lines.size(), 1u);
}

// A peer that is missing from an answer would lose its rules.
TEST(Monitor, DeletesNothingWhereTheRulesOrTheOwnNameAreNotKnownInFull) {
    const struct {
        const char* call;
        LogLine line;
    } rows[] = {
        {"filtering open", {CORE::logWarning, L"FwpmEngineOpen failed. Return value: 5."}},
        {"filtering contexts",
         {CORE::logWarning, L"FwpmProviderContextCreateEnumHandle failed. Return value: 5."}},
        {"filtering next contexts", {CORE::logWarning, L"FwpmProviderContextEnum failed: 5."}},
        {"environment variable COMPUTERNAME",
         {CORE::logError,
          L"The environment variable COMPUTERNAME is not known, so this server's pairings are not"}},
    };
    for (const auto& row : rows) {
        const auto machine = labWithVanishedPairings();
        const auto calls = std::make_shared<PortCalls>();
        machine->filtering = std::make_shared<CountingFiltering>(machine->filtering, calls);
        machine->environment = std::make_shared<CountingEnvironment>(machine->environment, calls);
        machine->commands = std::make_shared<CountingCommands>(machine->commands, calls);
        calls->restart(PortFault{.call = row.call, .code = 5});
        const LogCapture log(CORE::logInfo);
        IPsecRules(*machine, CORE::coreevent(), "any").checkRules();
        EXPECT_EQ(log.lines(), std::vector{row.line});
        EXPECT_TRUE(calls->changed().empty()) << row.call;
        EXPECT_EQ(calls->live, 0);
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
            for (int turn = 0; turn < turns; ++turn) {
                ask<&FirewallRulesManager::disableFirewallRule>(service, rule);
                EXPECT_FALSE(ask<&FirewallRulesManager::isFirewallRuleEnabled>(service, rule)
                                 .getBool(L"ENABLED", true));
                ask<&FirewallRulesManager::enableFirewallRule>(service, rule);
                EXPECT_TRUE(
                    ask<&FirewallRulesManager::isFirewallRuleEnabled>(service, rule).getBool(L"ENABLED"));
            }
        });
    for (int turn = 0; turn < 2; ++turn) threads.emplace_back([&] { manager->monitor(); });
    threads.clear();
    manager->stop();
}

}  // namespace wstest
