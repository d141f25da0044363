// Operations beside each other, the wait for replication, and what a stop of the service ends.
#include <gtest/gtest.h>

#include <deque>
#include <future>

#include "federation/idle_replication.h"
#include "federation/pending_operations.h"
#include "federation/qrvldap.h"
#include "federation/sample_pod.h"
#include "framework/core/log.h"
#include "support/log_capture.h"

namespace wstest {

namespace {

using namespace wsadmin;
using namespace wsadmin::platform;

// The first program waits until the test lets it run.
class GatedProcesses final : public Processes {
  public:
    explicit GatedProcesses(std::shared_ptr<Processes> real) : real_(std::move(real)) {}
    Result<std::optional<int>> run(const std::wstring& program, const std::wstring& arguments) override {
        if (!std::exchange(begun_, true)) {
            begins.set_value();
            opened_.wait();
        }
        return real_->run(program, arguments);
    }
    std::promise<void> begins, opens;

  private:
    std::shared_ptr<Processes> real_;
    std::shared_future<void> opened_ = opens.get_future().share();
    bool begun_ = false;
};

// An installation whose installer waits, and beside it a second operation that waits for its turn.
class TwoOperations : public testing::Test {
  protected:
    TwoOperations() {
        pod.machine->processes = gate = std::make_shared<GatedProcesses>(pod.machine->processes);
        first = std::async(std::launch::async,
                           [this] { return ask<&Qrvldap::init, OnFailure::keeps>(pod.service); });
        gate->begins.get_future().wait();
        std::promise<void> waits;
        const auto sink =
            CORE::addLogSink(CORE::logVerbose, [&](int, std::wstring_view, std::wstring_view text) {
                if (text == L"Contention on QRV state sync, waiting") waits.set_value();
            });
        second =
            std::async(std::launch::async, [this] { return ask<&Qrvldap::checkEnablement>(pod.service); });
        waits.get_future().wait();
    }

    SamplePod pod{WS_SOURCE_DIR "/labs/sample"};
    std::shared_ptr<GatedProcesses> gate;
    std::future<CORE::PropertyBag> first, second;
};

// An instance that answers what the test says, in order.
class ScriptedReplication final : public IdleReplication {
  public:
    using Answer = Result<std::optional<std::uint32_t>>;
    explicit ScriptedReplication(std::deque<Answer> answers) : answers_(std::move(answers)) {}
    Answer pendingOperations() override {
        auto answer = answers_.front();
        answers_.pop_front();
        return answer;
    }

  private:
    std::deque<Answer> answers_;
};

}  // namespace

TEST_F(TwoOperations, RunOneAfterTheOtherAndInformationDoesNotWait) {
    EXPECT_EQ(pod.flags(), "-1 -1");
    EXPECT_EQ(ask<&Qrvldap::info>(pod.service).getErrorText(), L"Global LDAP layer does not exist");
    gate->opens.set_value();
    EXPECT_EQ(first.get().getErrorText(), L"");
    // It found the layer that the first made, and its flags.
    EXPECT_EQ(second.get().getErrorText(), L"");
    EXPECT_EQ(pod.flags(), "1 1");
    const auto endpoint = ask<&Qrvldap::info>(pod.service).getBag(L"qrv-endpoints").getBag(L"endpoint");
    EXPECT_EQ(endpoint.get(L"display-name"), L"VCS1");
}

TEST_F(TwoOperations, AStopEndsTheWaitAndLetsTheOtherChangeNothing) {
    const LogCapture log(CORE::logWarning);
    pod.service.stop();
    gate->opens.set_value();
    const auto answer = first.get();
    EXPECT_EQ(answer.getErrorText(), L"Unable to install global LDAP instance - unable to do final enable");
    EXPECT_EQ(answer.get(L"QuorinLastError"), L"QRV_OP_CANNOT_APPLY_DATA");
    EXPECT_TRUE(log.contains(CORE::logWarning, L"Interrupted for service shutdown"));
    EXPECT_TRUE(log.contains(CORE::logWarning, L"Automatically cleaning up global LDAP layer"));
    EXPECT_EQ(second.get().getErrorText(), L"The service is stopping");
    EXPECT_EQ(pod.flags(), "0 0");
    EXPECT_EQ(pod.ofServer("zre-QuorinEnabledPercent"), "80");
}

TEST(PendingOperations, AreWaitedForUntilThereAreNoneOrTheServiceStops) {
    const auto machine = std::make_shared<Platform>();
    const auto clock = std::make_shared<ManualClock>();
    machine->clock = clock;
    const auto wait = [&](std::deque<ScriptedReplication::Answer> answers, bool stops = false) {
        TestService service(machine);
        if (stops) service.stop();
        ScriptedReplication instance(std::move(answers));
        const LogCapture log(CORE::logVerbose);
        const bool done = qrv::waitForPendingOps(service, instance).has_value();
        auto lines = log.lines();
        return std::pair(done, lines.empty() ? LogLine{} : lines.back());
    };
    const LogLine waits{CORE::logVerbose, L"There are 2 pending operations, delaying actions"};
    const auto begin = clock->monotonic();
    EXPECT_EQ(wait({7u, 2u, 0u}), std::pair(true, waits));
    EXPECT_EQ(clock->monotonic() - begin, std::chrono::seconds(10));
    EXPECT_EQ(wait({2u}, true), std::pair(false, LogLine{CORE::logVerbose, L"Interrupted by shutdown"}));
    EXPECT_EQ(wait({fail(8453, L"denied")}),
              std::pair(false, LogLine{CORE::logError, L"Unable to retrieve pending ops: denied"}));
    EXPECT_EQ(wait({std::nullopt}),
              std::pair(false, LogLine{CORE::logError, L"Unable to retrieve pending ops: result is empty"}));
}

}  // namespace wstest
