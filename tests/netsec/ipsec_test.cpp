// The rules of a pairing: which command lines run, when the sequence ends, and what the monitor leaves alone.
#include <gtest/gtest.h>

#include <cerrno>

#include "netsec/ipsec_operations.h"
#include "netsec/ipsec_rules.h"
#include "platform/lab/network_policy.h"
#include "support/log_capture.h"
#include "support/test_service.h"

namespace wstest {

namespace {

using namespace wsadmin;
using namespace wsadmin::platform;
using namespace std::chrono_literals;

// An interpreter that keeps what it was given, and fails from a line on.
class KeptCommands final : public CommandInterpreter {
  public:
    Result<int> run(const CORE::secretstring& line, const CORE::coreevent*) override {
        lines.emplace_back(line.view());
        if (lines.size() == stopAt) service->stop();
        if (lines.size() < failingFrom) return 0;
        return status < 0 ? Result<int>(fail(ENOENT, L"none")) : Result<int>(status);
    }
    std::vector<std::string> lines;
    std::size_t failingFrom = 100, stopAt = 100;
    int status = 1;
    TestService* service = nullptr;
};

class IPsec : public testing::Test {
  protected:
    IPsec() {
        commands->service = &service;
        machine->commands = commands;
        machine->installation = {CORE::InstType::connectionServer, 10, true, false};
    }
    CORE::PropertyBag add() {
        CORE::PropertyBag request;
        request.set(L"remoteEndpointIP", L"10.1.2.3");
        request.set(L"preSharedKey", L"first-key");
        request.set(L"pfsSharedKey", L"second-key");
        return ask<&IPsecOperations::add>(service, request);
    }
    CORE::PropertyBag remove() {
        CORE::PropertyBag request;
        request.set(L"remoteEndpointIP", L"10.1.2.3");
        return ask<&IPsecOperations::remove>(service, request);
    }

    std::shared_ptr<Platform> machine = std::make_shared<Platform>();
    std::shared_ptr<KeptCommands> commands = std::make_shared<KeptCommands>();
    TestService service{machine};
};

}  // namespace

TEST_F(IPsec, AFailedStepEndsTheSequence) {
    for (std::size_t step = 1; step <= 3; ++step) {
        commands->lines.clear();
        commands->failingFrom = step;
        EXPECT_EQ(add().getErrorText(), L"Failed to add IPsec rules for endpoint \"10.1.2.3\"");
        EXPECT_EQ(commands->lines.size(), step);
    }
    for (std::size_t step = 1; step <= 2; ++step) {
        commands->lines.clear();
        commands->failingFrom = step;
        EXPECT_EQ(remove().getErrorText(), L"Failed to delete IPsec rules for endpoint \"10.1.2.3\"");
        EXPECT_EQ(commands->lines.size(), step);
    }
}

TEST_F(IPsec, FailuresAreLoggedWithStatusAndError) {
    commands->failingFrom = 1;
    for (const auto& [status, text] :
         {std::pair{7, L"IPsecRules: netsh command failed - exit status 7, errno 0"},
          std::pair{-1, L"IPsecRules: netsh command failed - exit status -1, errno 2"}}) {
        commands->status = status;
        const LogCapture log;
        EXPECT_NE(add().getError(), 0);
        EXPECT_TRUE(log.contains(CORE::logWarning, text)) << text;
    }
}

TEST_F(IPsec, AStoppingServiceBeginsNoFurtherCommand) {
    commands->stopAt = 1;
    EXPECT_NE(add().getError(), 0);
    EXPECT_EQ(commands->lines.size(), 1u);
}

TEST_F(IPsec, TheOtherChannelCountsAsActiveButHasNoEndpoint) {
    auto policy = std::make_shared<lab::LabPolicy>(lab::NetworkPolicy{
        .mainMode = {{.name = "m", .endpoint1 = "10.1.2.3"}},
        .quickMode = {{.name = "Talvex Vorn Security Server QM pairing with 10.1.2.3 (JMS)",
                       .endpoint1 = "10.1.2.3"}},
        .peers = {{"10.1.2.3", "10.9.9.9"}}});
    machine->filtering = lab::makeLabFiltering(policy);
    CORE::PropertyBag request;
    request.set(L"remoteEndpointIP", L"10.1.2.3");
    EXPECT_TRUE(ask<&IPsecOperations::verifyActive>(service, request).getBool(L"IPsecRulesActive"));
    EXPECT_TRUE(ask<&IPsecOperations::getEndpoints>(service, request).empty());
}

TEST_F(IPsec, AssociationsBeyondTheFirstBatchAreFound) {
    lab::NetworkPolicy many;
    many.mainMode = {{.name = "m", .endpoint1 = "10.1.2.3"}};
    for (int i = 0; i < 40; ++i)
        many.quickMode.push_back({.name = "other " + std::to_string(i), .endpoint1 = "10.1.2.3"});
    many.quickMode.push_back(
        {.name = ipsec::quickModeName("10.1.2.3", ipsec::pairingChannel), .endpoint1 = "10.1.2.3"});
    many.peers = {{"10.1.2.3", "10.9.9.9"}};
    machine->filtering = lab::makeLabFiltering(std::make_shared<lab::LabPolicy>(many));
    CORE::PropertyBag request;
    request.set(L"remoteEndpointIP", L"10.1.2.3");
    const auto found = ask<&IPsecOperations::getEndpoints>(service, request);
    EXPECT_EQ(found.get(L"Talvex Vorn Security Server QM pairing with 10.1.2.3 (AJP13)"), L"10.9.9.9");
}

TEST_F(IPsec, WithoutTheMonitorsIntervalNothingIsMonitored) {
    CORE::ThreadGroup threads(L"monitor");
    for (const std::chrono::seconds interval : {0s, -5s}) {
        service.ipsecMonitor =
            CORE::refptr<IPsecRulesManager>::adopt(new IPsecRulesManager(machine, threads, interval));
        const LogCapture log;
        EXPECT_TRUE(ask<&IPsecOperations::monitor>(service).empty());
        ASSERT_EQ(log.lines().size(), 1u);
        EXPECT_TRUE(log.contains(CORE::logVerbose, L"Not monitoring IPsec rules."));
    }
    service.ipsecMonitor.reset();
}

}  // namespace wstest
