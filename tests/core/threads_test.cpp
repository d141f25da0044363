#include "framework/core/threads.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "core/scripted_worker.h"
#include "framework/core/coreexception.h"
#include "support/log_capture.h"

namespace {

using namespace wstest;
using CORE::ThreadGroup;

TEST(ThreadGroup, WaitsForThreadsThatThreadsStart) {
    ThreadGroup group(L"module");
    std::atomic<int> ran{0};
    for (int i = 0; i < 10; ++i)
        ASSERT_TRUE(group.start(L"outer", [&] { EXPECT_TRUE(group.start(L"inner", [&] { ++ran; })); }));
    group.waitForAll();
    EXPECT_EQ(ran, 10);
}

// A module may be unloaded as soon as the wait returns, so the function's own destruction comes before.
TEST(ThreadGroup, DestroysTheFunctionBeforeTheThreadCountsAsGone) {
    for (int i = 0; i < 200; ++i) {
        ThreadGroup group(L"module");
        std::atomic<bool> destroyed{false};
        std::shared_ptr<void> code(nullptr, [&](void*) { destroyed = true; });
        ASSERT_TRUE(group.start(L"t", [code = std::move(code)] {}));
        group.waitForAll();
        ASSERT_TRUE(destroyed);
    }
}

TEST(ThreadGroup, LogsWhatAThreadThrows) {
    const std::pair<void (*)(), const wchar_t*> rows[] = {
        {[] { throw CORE::coreException(L"broken promise"); }, L"broken promise"},
        {[] { throw std::runtime_error("out of range"); }, L"out of range"},
        {[] { throw 42; }, L"unknown"},
    };
    for (const auto& [function, error] : rows) {
        const LogCapture log;
        ThreadGroup group(L"module");
        ASSERT_TRUE(group.start(L"Worker", function));
        group.waitForAll();
        EXPECT_EQ(
            log.lines(),
            (std::vector<LogLine>{
                {CORE::logError, std::wstring(L"Thread Worker ended with an exception, error ") + error}}));
    }
}

TEST(ThreadGroup, WaitsForVisitorsForAsLongAsAnyCopyLives) {
    ThreadGroup group(L"module");
    CORE::coreevent inside;
    std::atomic<bool> left{false};
    std::thread visitor([&] {
        auto first = std::make_unique<ThreadGroup::Visit>(&group);
        const ThreadGroup::Visit copy(*first), moved(std::move(*first)), nowhere(nullptr);
        first.reset();
        inside.set();
        yield();
        left = true;
    });
    await(inside);
    group.waitForAll();
    EXPECT_TRUE(left);
    visitor.join();
}

TEST(ThreadGroup, AbandonedWaitsForNobody) {
    CORE::coreevent go, done;
    {
        ThreadGroup group(L"module");
        ASSERT_TRUE(group.start(L"t", [&] {
            EXPECT_TRUE(go.waitFor(longTime));
            done.set();
        }));
        group.abandon();
    }
    go.set();  // only now, so the destructor cannot have waited
    await(done);
}

}  // namespace
