// The rules of a pairing: which command lines run, when the sequence ends, and what the monitor leaves alone.
#include <gtest/gtest.h>

#include <cerrno>

#include "netsec/ipsec_operations.h"
#include "netsec/ipsec_rules.h"
#include "support/log_capture.h"
#include "support/test_service.h"

namespace wstest {

namespace {

using namespace wsadmin;
using namespace wsadmin::platform;

// An interpreter that keeps what it was given, and fails from a line on.
class KeptCommands final : public CommandInterpreter {
  public:
    Result<int> run(const CORE::secretstring& line, const CORE::coreevent*) override {
        lines.emplace_back(line.view());
        if (lines.size() == stopAt) service->stop();
        if (lines.size() < failingFrom) return 0;
        return status < 0 ? Result<int>(fail(ENOENT, L"none")) : Result<int>(status);
    }
    void restart(std::size_t step, int failure) {
        lines.clear();
        failingFrom = step;
        status = failure;
    }
    std::vector<std::string> lines;
    std::size_t failingFrom = 100, stopAt = 100;
    int status = 1;  // of a failure; below 0 the line cannot be run at all
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

TEST_F(IPsec, MainModeHasTheFirstKeyAndQuickModeTheSecond) {
    EXPECT_EQ(add().getError(), 0);
    ASSERT_EQ(commands->lines.size(), 3u);
    EXPECT_NE(commands->lines[1].find(" auth1psk=\"first-key\" mmsecmethods"), std::string::npos);
    EXPECT_NE(commands->lines[2].find(" auth1psk=\"second-key\" qmpfs"), std::string::npos);
}

TEST_F(IPsec, AFailedStepEndsTheSequenceAndIsLoggedWithStatusAndError) {
    const std::wstring failed = L"IPsecRules: netsh command failed - exit status ";
    for (const auto& [status, text] : {std::pair{7, failed + L"7, errno 0"}, {-1, failed + L"-1, errno 2"}})
        for (const std::size_t step : {1, 2, 3}) {
            const LogCapture log(CORE::logWarning);
            commands->restart(step, status);
            EXPECT_EQ(add().getErrorText(), L"Failed to add IPsec rules for endpoint \"10.1.2.3\"");
            EXPECT_EQ(commands->lines.size(), step);
            EXPECT_EQ(log.lines(), (std::vector<LogLine>{{CORE::logWarning, text}}));
            if (step > 2) continue;
            commands->restart(step, status);
            EXPECT_EQ(remove().getErrorText(), L"Failed to delete IPsec rules for endpoint \"10.1.2.3\"");
            EXPECT_EQ(commands->lines.size(), step);
        }
}

TEST_F(IPsec, AStoppingServiceBeginsNoFurtherCommand) {
    commands->stopAt = 1;
    EXPECT_NE(add().getError(), 0);
    EXPECT_EQ(commands->lines.size(), 1u);
}

}  // namespace wstest
