#include "host/service/stop_signals.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <future>

#include "support/log_capture.h"

namespace mfwhost {
namespace {

TEST(StopSignals, NameWhatAStopWaitsForAgainAndAgain) {
    const wstest::LogCapture log;
    std::atomic<int> asked{0};
    std::promise<void> enough;
    StopSignals signals(std::chrono::milliseconds(1));
    std::raise(SIGTERM);
    const auto names = [&] {
        if (++asked == 3) enough.set_value();
        return std::vector<std::wstring>{L"program netsh.exe"};
    };
    signals.waitAndRun(names, [&] { enough.get_future().wait(); });
    ASSERT_GE(log.lines().size(), 2u);
    EXPECT_EQ(log.lines()[1].text, L"Waiting for program netsh.exe to end");
}

TEST(StopSignalsDeathTest, ASecondOneEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto stopTwice = [] {
        StopSignals signals(std::chrono::hours(1));
        std::raise(SIGINT);
        signals.waitAndRun([] { return std::vector<std::wstring>(); },
                           [] {
                               std::raise(SIGTERM);
                               std::promise<void>().get_future().wait();
                           });
    };
    EXPECT_EXIT(stopTwice(), testing::ExitedWithCode(128 + SIGTERM), "");
}

}  // namespace
}  // namespace mfwhost
