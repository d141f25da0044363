// The monitor beside other threads, and when the service stops.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "framework/core/log.h"
#include "netsec/firewall_rules_manager.h"
#include "netsec/ipsec_commands.h"
#include "netsec/ipsec_rules.h"
#include "netsec/ipsec_rules_manager.h"
#include "platform/lab/lab_platform.h"
#include "platform/lab/network_policy.h"
#include "support/counting_ports.h"
#include "support/log_capture.h"
#include "support/test_service.h"

namespace wstest {

namespace {

using namespace wsadmin;
using namespace wsadmin::platform;

// The sample lab with the rules of two pairings that its directory does not have.
std::shared_ptr<Platform> labWithVanishedPairings() {
    auto lab = lab::openLab(WS_SOURCE_DIR "/labs/sample", lab::Changes::dropped);
    if (!lab) throw std::runtime_error(CORE::toUtf8(lab.error().text));
    (*lab)->save = nullptr;
    for (const char* endpoint : {"10.9.0.1", "10.9.0.2"})
        for (const auto& line :
             {ipsec::addFirewallRules({endpoint, true}), ipsec::addMainModeRule({endpoint, true}, "k"),
              ipsec::addQuickModeRule({endpoint, true}, "noauthentication", "k")})
            if ((*lab)->commands->run(line, nullptr) != 0) throw std::runtime_error("the lab refused a rule");
    return *lab;
}

// Tells of each command before it runs.
class ToldCommands final : public CommandInterpreter {
  public:
    ToldCommands(std::shared_ptr<CommandInterpreter> real, std::function<void()> tell)
        : real_(std::move(real)), tell_(std::move(tell)) {}
    Result<int> run(const CORE::secretstring& line, const CORE::coreevent*) override {
        tell_();
        return real_->run(line, nullptr);
    }

  private:
    std::shared_ptr<CommandInterpreter> real_;
    std::function<void()> tell_;
};

}  // namespace

// A peer that is missing from an answer would lose its rules.
TEST(Monitor, DeletesNothingWhereTheRulesOrTheOwnNameAreNotKnownInFull) {
    const struct {
        const char* call;
        int level;
        const wchar_t* line;
    } rows[] = {
        {"filtering open", CORE::logWarning, L"FwpmEngineOpen failed. Return value: 5."},
        {"filtering contexts", CORE::logWarning,
         L"FwpmProviderContextCreateEnumHandle failed. Return value: 5."},
        {"filtering next contexts", CORE::logWarning, L"FwpmProviderContextEnum failed: 5."},
        {"environment variable COMPUTERNAME", CORE::logError,
         L"The environment variable COMPUTERNAME is not known, so this server's pairings are not"},
    };
    for (const auto& row : rows) {
        const auto machine = labWithVanishedPairings();
        const auto calls = std::make_shared<PortCalls>();
        machine->filtering = std::make_shared<CountingFiltering>(machine->filtering, calls);
        machine->environment = std::make_shared<CountingEnvironment>(machine->environment, calls);
        machine->commands = std::make_shared<ToldCommands>(
            machine->commands, [&] { ADD_FAILURE() << row.call << ": a command was run"; });
        calls->restart(PortFault{.call = row.call, .code = 5});
        const LogCapture log(CORE::logInfo);
        IPsecRules(*machine, CORE::coreevent(), "any").checkRules();
        EXPECT_EQ(log.lines(), (std::vector<LogLine>{{row.level, row.line}}));
        EXPECT_EQ(calls->live, 0);
    }
}

TEST(Monitor, EndsBetweenTwoCommandsWhenTheServiceStops) {
    constexpr int allCommands = 4;  // two lines a pairing
    for (const int stopAt : {1, 2, 3, allCommands + 1}) {
        CORE::ThreadGroup threads(L"monitor");
        const auto machine = labWithVanishedPairings();
        const auto manager = CORE::refptr<IPsecRulesManager>::adopt(
            new IPsecRulesManager(machine, threads, std::chrono::hours(1)));
        int run = 0;
        machine->commands = std::make_shared<ToldCommands>(machine->commands, [&] {
            if (++run == stopAt) manager->stop();
        });
        manager->monitor();
        EXPECT_EQ(run, std::min(stopAt, allCommands));
        manager->stop();
        EXPECT_EQ(manager->RefCount(), 1);
    }
}

TEST(Monitor, RunsAgainAfterEachRun) {
    constexpr int wanted = 3;
    for (const bool hasEngine : {true, false}) {
        CORE::ThreadGroup threads(L"monitor");
        const auto machine = labWithVanishedPairings();
        if (!hasEngine) machine->filtering.reset();
        const std::wstring_view sign =
            hasEngine ? L"Number of IP addresses found" : L"FwpmEngineOpen failed. Return value: 50.";
        std::atomic<int> runs{0};
        CORE::coreevent enough;
        const auto sink =
            CORE::addLogSink(CORE::logDebug, [&](int, std::wstring_view, std::wstring_view text) {
                if (text.starts_with(sign) && ++runs == wanted) enough.set();
            });
        const auto manager = CORE::refptr<IPsecRulesManager>::adopt(
            new IPsecRulesManager(machine, threads, std::chrono::milliseconds(1)));
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
    const auto nameOf = [](int number) {
        CORE::PropertyBag request;
        request.set(L"RULE", std::wstring_view(L"r" + std::to_wstring(number)));
        return request;
    };
    {
        const auto manager = CORE::refptr<IPsecRulesManager>::adopt(
            new IPsecRulesManager(machine, group, std::chrono::hours(1)));
        std::vector<std::jthread> threads;
        for (int i = 0; i < count; ++i)
            threads.emplace_back([&, i] {
                for (int turn = 0; turn < turns; ++turn) {
                    EXPECT_EQ(ask<&FirewallRulesManager::disableFirewallRule>(service, nameOf(i)).getError(),
                              0);
                    EXPECT_FALSE(ask<&FirewallRulesManager::isFirewallRuleEnabled>(service, nameOf(i))
                                     .getBool(L"ENABLED", true));
                    EXPECT_EQ(ask<&FirewallRulesManager::enableFirewallRule>(service, nameOf(i)).getError(),
                              0);
                }
            });
        for (int turn = 0; turn < 2; ++turn) threads.emplace_back([&] { manager->monitor(); });
        threads.clear();
        manager->stop();
    }
    for (int i = 0; i < count; ++i)
        EXPECT_TRUE(
            ask<&FirewallRulesManager::isFirewallRuleEnabled>(service, nameOf(i)).getBool(L"ENABLED"));
}

}  // namespace wstest
