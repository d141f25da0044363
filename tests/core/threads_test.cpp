// Reference counts, locks, events and groups of threads.
#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "core/scripted_worker.h"
#include "framework/core/coreexception.h"
#include "framework/core/coreref.h"
#include "framework/core/threads.h"
#include "support/log_capture.h"

namespace {

using namespace wstest;
using CORE::refptr;
using CORE::ThreadGroup;

TEST(CoreRef, CountsItsHoldersAndIsDestroyedByTheLastRelease) {
    auto* object = new ScriptedItem;
    EXPECT_EQ(object->AddRef(), 2);
    EXPECT_EQ(object->Release(), 1);
    {
        auto first = refptr<ScriptedItem>::adopt(object);
        auto second = refptr<ScriptedItem>::share(first.get());
        auto moved = std::move(second);
        EXPECT_FALSE(second);  // NOLINT(bugprone-use-after-move): it promises to be empty
        refptr<ScriptedItem> assigned;
        assigned = moved;
        assigned = refptr<ScriptedItem>::share(assigned.get());
        EXPECT_EQ(object->RefCount(), 3);
        first.reset();
        EXPECT_EQ(ScriptedItem::alive, 1);
    }
    EXPECT_EQ(ScriptedItem::alive, 0);
}

// Another thread gets the lock only when its holder has given it back as often as it took it.
TEST(CoreLock, ItsHolderMayTakeItAgain) {
    CORE::corecritsec lock(L"test");
    EXPECT_EQ(lock.name(), L"test");
    for (int round = 0; round < 20; ++round) {
        std::atomic<bool> given{false};
        std::jthread other;
        const CORE::coresync outer(lock);
        const CORE::coresync idle(lock, false);
        other = std::jthread([&] {
            const CORE::coresync hold(lock);
            EXPECT_TRUE(given);
        });
        { const CORE::coresync inner(lock, true); }
        yield();
        given = true;
    }
}

TEST(CoreEvent, StaysSetUntilItIsResetAndCallsBackWhenItIsSetAndWhenItWasSet) {
    CORE::coreevent event;
    int calls = 0;
    for (int round = 1; round <= 2; ++round) {
        const CORE::eventcallback first(event, [&] { ++calls; });
        EXPECT_FALSE(event.isSet());
        EXPECT_FALSE(event.waitFor(std::chrono::milliseconds(0)));
        EXPECT_EQ(calls % 11, 0);
        event.set();
        EXPECT_EQ(calls % 11, 1);
        const CORE::eventcallback second(event, [&] { calls += 10; });
        EXPECT_EQ(calls, 11 * round);
        EXPECT_TRUE(event.isSet());
        EXPECT_TRUE(event.waitFor(std::chrono::milliseconds(0)));
        event.wait();
        event.reset();
    }
    event.set();
    EXPECT_EQ(calls, 22);
}

// The threads meet at a fresh lock again and again: its first uses are where a runtime can go wrong.
TEST(SharedMutex, KeepsAWriterAwayFromEverybodyElse) {
    for (int round = 0; round < 200; ++round) {
        CORE::SharedMutex mutex;
        CORE::coreevent go;
        std::atomic<int> first{0}, second{0}, torn{0};
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&, i] {
                go.wait();
                for (int turn = 0; turn < 50; ++turn)
                    if ((i + turn) % 3) {
                        const std::shared_lock reading(mutex);
                        if (first != second) ++torn;
                    } else {
                        const std::unique_lock writing(mutex);
                        if (++first != second + 1) ++torn;
                        ++second;
                    }
            });
        go.set();
        threads.clear();
        ASSERT_EQ(torn, 0) << "round " << round;
    }
}

// A module may be unloaded as soon as the wait returns, so the function's own destruction comes before.
TEST(ThreadGroup, WaitsForThreadsThatThreadsStartAndForTheEndOfTheirFunctions) {
    for (int round = 0; round < 100; ++round) {
        ThreadGroup group(L"module");
        std::atomic<int> ran{0}, destroyed{0};
        for (int i = 0; i < 2; ++i) {
            std::shared_ptr<void> code(nullptr, [&](void*) { ++destroyed; });
            ASSERT_TRUE(group.start(L"outer", [&, code = std::move(code)] {
                EXPECT_TRUE(group.start(L"inner", [&, code] { ++ran; }));
            }));
        }
        group.waitForAll();
        ASSERT_EQ(ran, 2);
        ASSERT_EQ(destroyed, 2);
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
        const std::wstring said = L"Thread Worker ended with an exception, error ";
        EXPECT_EQ(log.lines(), (std::vector<LogLine>{{CORE::logError, said + error}}));
    }
}

TEST(ThreadGroup, WaitsForVisitorsForAsLongAsAnyCopyLives) {
    ThreadGroup group(L"module");
    CORE::coreevent inside;
    std::atomic<bool> left{false};
    const std::jthread visitor([&] {
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
}

TEST(ThreadGroup, AbandonedWaitsForNobody) {
    CORE::coreevent go, done;
    {
        ThreadGroup group(L"module");
        ASSERT_TRUE(group.start(L"t", [&] {
            await(go);
            done.set();
        }));
        group.abandon();
    }
    go.set();  // only now, so the destructor cannot have waited
    await(done);
}

}  // namespace
