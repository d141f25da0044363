#include "framework/core/log.h"

#include <stdexcept>

#include "core/scripted_worker.h"

namespace {

// NOLINTNEXTLINE(bugprone-reserved-identifier)
using CORE::__SysMessage;
using Texts = std::vector<std::string>;

CORE::LogSink into(Texts& lines) {
    return [&lines](int level, std::wstring_view module, std::wstring_view text) {
        lines.push_back(CORE::toUtf8(CORE::logLevelName(level)) + " " + CORE::toUtf8(module) + ": " +
                        CORE::toUtf8(text));
    };
}

// What no sink wants is not formatted.
TEST(Log, SinksGetTheirLevelAndAboveForAsLongAsTheyLive) {
    Texts all, grave;
    auto errors = CORE::addLogSink(CORE::logWarning, into(grave));
    EXPECT_FALSE(CORE::logWanted(CORE::logInfo));
    EXPECT_TRUE(CORE::logWanted(CORE::logWarning));
    auto everything = CORE::addLogSink(CORE::logDebug, into(all));
    EXPECT_TRUE(CORE::logWanted(CORE::logDebug));
    for (int level = CORE::logDebug; level <= CORE::logError; ++level)
        __SysMessage(level, L"m", L"%d", level);
    EXPECT_EQ(all, (Texts{"DEBUG m: 0", "VERBOSE m: 1", "INFO m: 2", "WARNING m: 3", "ERROR m: 4"}));
    EXPECT_EQ(grave, (Texts{"WARNING m: 3", "ERROR m: 4"}));
    everything.reset();
    EXPECT_FALSE(CORE::logWanted(CORE::logDebug));
    errors.reset();
    EXPECT_FALSE(CORE::logWanted(CORE::logError));
    __SysMessage(CORE::logError, L"m", L"nobody listens");
    EXPECT_EQ(all.size() + grave.size(), 7U);
}

TEST(Log, ThrowingAndLoggingSinksHarmNobody) {
    Texts lines;
    const auto throwing = CORE::addLogSink(0, [](auto&&...) { throw std::runtime_error("sink"); });
    const auto logging =
        CORE::addLogSink(0, [](auto&&...) { __SysMessage(CORE::logError, L"sink", L"again"); });
    const auto after = CORE::addLogSink(0, into(lines));
    EXPECT_NO_THROW(__SysMessage(CORE::logInfo, L"m", L"%s: %s", L"class", "n\xC3\xA4me"));
    CORE::sysmsgLogLoaded(L"ws_admin", true);
    EXPECT_EQ(lines, (Texts{"INFO m: class: n\xC3\xA4me", "DEBUG ws_admin: ws_admin loaded"}));
}

// Sinks come and go while others log: one call at a time, and none after the handle is gone.
TEST(Log, ManyThreadsOneLineAtATime) {
    constexpr int threads = 4, linesEach = 500;
    int lines = 0, overlaps = 0;
    std::atomic<bool> inside{false};
    const auto sink = CORE::addLogSink(CORE::logInfo, [&](auto&&...) {
        if (inside.exchange(true)) ++overlaps;
        std::this_thread::yield();
        ++lines;
        inside = false;
    });
    std::vector<std::jthread> running;
    for (int t = 0; t < threads; ++t)
        running.emplace_back([] {
            for (int i = 0; i < linesEach; ++i) __SysMessage(CORE::logInfo, L"m", L"%d", i);
        });
    for (int i = 0; i < 200; ++i) {
        const auto alive = std::make_unique<std::atomic<int>>(0);
        const auto passing = CORE::addLogSink(CORE::logInfo, [&count = *alive](auto&&...) { ++count; });
    }
    running.clear();
    EXPECT_EQ(overlaps, 0);
    EXPECT_EQ(lines, threads * linesEach);
}

}  // namespace
