// Reference counts, locks, events, timers and groups of threads.

#include <stdexcept>

#include "core/scripted_worker.h"
#include "framework/core/coreexception.h"
#include "framework/core/coretimer.h"
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

class Timer : public CORE::coretimer {
  public:
    explicit Timer(std::function<void(Timer&)> callback, CORE::ThreadGroup* owner = nullptr)
        : coretimer(owner), callback_(std::move(callback)) {
        ++alive;
    }
    ~Timer() override {
        StopTimerWithWait();
        --alive;
    }
    static inline std::atomic<int> alive{0};

  protected:
    void OnTimer() override { callback_(*this); }

  private:
    std::function<void(Timer&)> callback_;
};

// What is due within a millisecond from now on has been called, or never will be.
void passTheTimerThread() {
    CORE::coreevent passed;
    Timer last([&](Timer&) { passed.set(); });
    last.StartTimer(3);
    await(passed);
}

// Blocks the callback that calls it until the test lets it go on.
struct Gate {
    CORE::coreevent inside, open;
    void pass() {
        inside.set();
        await(open);
    }
};

TEST(CoreTimer, RepeatsOnOneThreadWhenTheCallbackStartsItAgain) {
    int count = 0;
    std::thread::id thread;
    CORE::coreevent done;
    Timer timer([&](Timer& self) {
        if (count++ == 0) thread = std::this_thread::get_id();
        EXPECT_EQ(thread, std::this_thread::get_id());
        if (count == 5) return done.set();
        self.StartTimer(1);
    });
    timer.StartTimer(1);
    await(done);
    EXPECT_NE(thread, std::this_thread::get_id());
    passTheTimerThread();
    EXPECT_EQ(count, 5) << "one shot each";
}

TEST(CoreTimer, StartingAgainReplacesTheEarlierStart) {
    std::atomic<int> count{0};
    Gate gate;
    Timer blocker([&](Timer&) { gate.pass(); }), twice([&](Timer&) { ++count; });
    Timer stopped([&](Timer&) { ADD_FAILURE() << "a stopped timer was called"; });
    blocker.StartTimer(0);
    await(gate.inside);
    twice.StartTimer(1);
    stopped.StartTimer(1);
    twice.StartTimer(2);
    stopped.StopTimer();
    gate.open.set();
    passTheTimerThread();
    EXPECT_EQ(count, 1);
}

TEST(CoreTimer, AStopFromElsewhereVoidsTheCallbacksOwnRestartAndMayAwaitIt) {
    for (const bool waits : {false, true}) {
        Gate gate;
        std::atomic<int> begun{0}, ended{0};
        Timer timer([&](Timer& self) {
            ++begun;
            gate.pass();
            yield();
            self.StartTimer(1);
            ++ended;
        });
        timer.StartTimer(0);
        await(gate.inside);
        if (!waits) timer.StopTimer();
        const std::jthread release([&] { gate.open.set(); });
        if (waits) {
            timer.StopTimerWithWait();
            EXPECT_EQ(ended, 1);
        }
        passTheTimerThread();
        EXPECT_EQ(begun, 1);
        timer.StartTimer(0);  // a start from elsewhere counts again
        while (begun < 3) std::this_thread::yield();
        timer.StopTimerWithWait();
    }
}

TEST(Threads, LogWhatTheirFunctionsThrow) {
    const std::tuple<void (*)(), const wchar_t*, const wchar_t*> rows[] = {
        {[] { throw CORE::coreException(L"broken promise"); }, L"broken promise", L", error broken promise"},
        {[] { throw std::runtime_error("out of range"); }, L"out of range", L", error out of range"},
        {[] { throw 42; }, L"unknown", L""},
    };
    for (const auto& [function, ofThread, ofTimer] : rows) {
        const LogCapture log;
        ThreadGroup group(L"module");
        ASSERT_TRUE(group.start(L"Worker", function));
        group.waitForAll();
        Timer timer([function = function](Timer& self) {
            self.StopTimerWithWait();
            function();
        });
        timer.StartTimer(0);
        passTheTimerThread();
        const std::wstring said = L"Thread Worker ended with an exception, error ";
        EXPECT_EQ(log.lines(), (std::vector<LogLine>{
                                   {CORE::logError, said + ofThread},
                                   {CORE::logError, std::wstring(L"Exception in a timer callback") + ofTimer},
                               }));
    }
}

TEST(CoreTimer, MayBeReleasedByItsCallback) {
    CORE::ThreadGroup module(L"module");
    CORE::coreevent called;
    auto* timer = new Timer(
        [&](Timer& self) {
            self.Release();
            EXPECT_EQ(Timer::alive, 1) << "not while the callback runs";
            called.set();
        },
        &module);
    timer->StartTimer(0);
    await(called);
    module.waitForAll();
    EXPECT_EQ(Timer::alive, 0);
}

// The callback's own reference must never revive an object that is being destroyed.
TEST(CoreTimer, ADyingObjectGetsNoCallback) {
    class Dying : public Timer {
      public:
        using Timer::Timer;
        ~Dying() override {
            StartTimer(0);
            passTheTimerThread();
        }
    };
    std::atomic<int> calls{0};
    (new Dying([&](Timer&) { ++calls; }))->Release();
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(Timer::alive, 0);
}

TEST(CoreTimer, ReleaseAndExpiryMayMeetInEveryOrder) {
    CORE::ThreadGroup module(L"module");
    for (int i = 0; i < 500; ++i) {
        auto* timer = new Timer(
            [](Timer& self) {
                const auto hold = CORE::refptr<Timer>::share(&self);
                std::this_thread::yield();
            },
            &module);
        timer->StartTimer(0);
        yield(i % 7);
        timer->Release();
    }
    passTheTimerThread();
    module.waitForAll();
    EXPECT_EQ(Timer::alive, 0);
}

}  // namespace
