#include "framework/core/coretimer.h"

#include <gtest/gtest.h>

#include <functional>

#include "core/scripted_worker.h"
#include "framework/core/coreexception.h"
#include "support/log_capture.h"

namespace {

using namespace wstest;

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

TEST(CoreTimer, CallbackMayStopItsOwnTimerWithWaitAndThrow) {
    const LogCapture log;
    Timer timer([](Timer& self) {
        self.StopTimerWithWait();
        throw CORE::coreException(L"broken promise");
    });
    timer.StartTimer(0);
    passTheTimerThread();
    EXPECT_TRUE(log.contains(CORE::logError, L"Exception in a timer callback, error broken promise"));
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
