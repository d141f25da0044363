#include "framework/core/threads.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "framework/core/coreexception.h"
#include "framework/core/corestring.h"
#include "framework/core/joined_threads.h"
#include "framework/core/log.h"

namespace CORE {

struct ThreadGroup::State {
    std::atomic<int> count{0};
    std::mutex mutex;
    std::condition_variable gone;
    std::wstring module;
    JoinedThreads threads;

    void enter() noexcept { count.fetch_add(1, std::memory_order_relaxed); }
    void leave() {
        if (count.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
        std::lock_guard lock(mutex);  // a thread that has just seen a count above 0 waits by now
        gone.notify_all();
    }
    void logEnd(std::wstring_view thread, std::wstring_view error) {
        std::unique_lock lock(mutex);
        const std::wstring source = module;
        lock.unlock();
        __SysMessage(logError, source, L"Thread %s ended with an exception, error %s", thread, error);
    }
    void run(std::wstring_view thread, const std::function<void()>& function) {
        try {
            function();
        } catch (const coreException& e) {
            logEnd(thread, e.text());
        } catch (const std::exception& e) {
            logEnd(thread, toWide(e.what()));
        } catch (...) {
            logEnd(thread, L"unknown");
        }
    }
};

ThreadGroup::ThreadGroup(std::wstring_view module) : state_(std::make_shared<State>()) {
    state_->module = module;
}

ThreadGroup::~ThreadGroup() {
    if (state_) waitForAll();
}

void ThreadGroup::nameModule(std::wstring_view module) {
    std::lock_guard lock(state_->mutex);
    state_->module = module;
}

bool ThreadGroup::start(const std::wstring& name, std::function<void()> function) {
    state_->enter();
    const bool started =
        state_->threads.start(name, [state = state_, name, function = std::move(function)]() mutable {
            state->run(name, function);
            function = nullptr;  // its destructor is code of the module too
            state->leave();
        });
    if (!started) state_->leave();
    return started;
}

void ThreadGroup::waitForAll() {
    const std::shared_ptr<State> state = state_;
    std::unique_lock lock(state->mutex);
    state->gone.wait(lock, [&] { return state->count.load(std::memory_order_acquire) == 0; });
    lock.unlock();
    state->threads.joinAll();
}

void ThreadGroup::abandon() noexcept {
    state_.reset();
}

ThreadGroup::Visit::Visit(ThreadGroup* group) : state_(group ? group->state_ : nullptr) {
    if (state_) state_->enter();
}

ThreadGroup::Visit::Visit(const Visit& other) : state_(other.state_) {
    if (state_) state_->enter();
}

ThreadGroup::Visit::Visit(Visit&& other) noexcept : state_(std::move(other.state_)) {}

ThreadGroup::Visit& ThreadGroup::Visit::operator=(Visit other) noexcept {
    std::swap(state_, other.state_);
    return *this;
}

ThreadGroup::Visit::~Visit() {
    if (state_) state_->leave();
}

}  // namespace CORE
