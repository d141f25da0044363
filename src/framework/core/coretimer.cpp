#include "framework/core/coretimer.h"

#include <condition_variable>
#include <mutex>
#include <thread>

#include "framework/core/coreexception.h"
#include "framework/core/corestring.h"
#include "framework/core/log.h"
#include "framework/core/threads.h"
#include "framework/core/timer_thread.h"

namespace CORE {

// Shared with the pending expiry, which may outlive the timer object.
struct coretimer::State : std::enable_shared_from_this<State> {
    State(coretimer* timer, ThreadGroup* group)
        : object(timer), owner(group), clock(TimerThread::System().context()) {}

    std::mutex mutex;
    std::condition_variable ended;
    coretimer* object;  // null once it is destroyed
    ThreadGroup* owner;
    asio::steady_timer clock;
    std::uint64_t turn = 0;  // counts starts and stops: an expiry of an earlier turn is ignored
    bool running = false;
    bool stoppedMeanwhile = false;  // while the callback ran, by another thread
    std::thread::id runner;

    bool inCallback() const { return running && runner == std::this_thread::get_id(); }
    void start(unsigned milliseconds);
    void stop(bool wait);
    void expire(std::uint64_t which);
    static void call(coretimer& timer);
};

void coretimer::State::start(unsigned milliseconds) {
    std::lock_guard lock(mutex);
    if (inCallback() && stoppedMeanwhile) return;
    stoppedMeanwhile = false;
    ++turn;
    clock.expires_after(std::chrono::milliseconds(milliseconds));
    clock.async_wait([self = shared_from_this(), which = turn](const asio::error_code& error) {
        if (!error) self->expire(which);
    });
}

void coretimer::State::stop(bool wait) {
    std::unique_lock lock(mutex);
    ++turn;
    clock.cancel();
    if (!running || inCallback()) return;
    stoppedMeanwhile = true;
    if (wait) ended.wait(lock, [this] { return !running; });
}

void coretimer::State::expire(std::uint64_t which) {
    std::unique_lock lock(mutex);
    if (which != turn || !object) return;
    const ThreadGroup::Visit visit(
        owner);  // before the object is used: without threads its module may be unloaded
    coretimer* const timer = object;
    if (!timer->TryAddRef()) return;
    running = true;
    stoppedMeanwhile = false;
    runner = std::this_thread::get_id();
    lock.unlock();
    call(*timer);
    timer->Release();
    lock.lock();
    running = false;
    ended.notify_all();
}

void coretimer::State::call(coretimer& timer) {
    try {
        timer.OnTimer();
    } catch (const coreException& e) {
        __SysMessage(logError, L"mfwcore", L"Exception in a timer callback, error %s", e.text());
    } catch (const std::exception& e) {
        __SysMessage(logError, L"mfwcore", L"Exception in a timer callback, error %s", toWide(e.what()));
    } catch (...) {
        __SysMessage(logError, L"mfwcore", L"Exception in a timer callback");
    }
}

coretimer::coretimer(ThreadGroup* owner) : state_(std::make_shared<State>(this, owner)) {}

// NOLINTNEXTLINE(bugprone-exception-escape): a mutex that fails may end the process
coretimer::~coretimer() {
    state_->stop(true);
    std::lock_guard lock(state_->mutex);
    state_->object = nullptr;
}

void coretimer::StartTimer(unsigned milliseconds) {
    TimerThread::System().ensureRunning();
    state_->start(milliseconds);
}

void coretimer::StopTimer() {
    state_->stop(false);
}

void coretimer::StopTimerWithWait() {
    state_->stop(true);
}

}  // namespace CORE
