#include "framework/core/joined_threads.h"

#include <condition_variable>
#include <exception>
#include <list>
#include <mutex>
#include <thread>

#include "framework/core/system.h"

namespace CORE {

struct JoinedThreads::Data {
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::list<std::thread> live;
    std::list<std::thread> ended;
    int joining = 0;

    ~Data() {
        for (auto* list : {&live, &ended})
            for (std::thread& thread : *list) thread.detach();
    }

    // Joins the threads that have ended, with the mutex unlocked.
    void reap(std::unique_lock<std::mutex>& lock) {
        std::list<std::thread> mine = std::move(ended);
        ended.clear();
        joining += static_cast<int>(mine.size());
        lock.unlock();
        for (std::thread& thread : mine) thread.join();
        lock.lock();
        joining -= static_cast<int>(mine.size());
        changed.notify_all();
    }
};

JoinedThreads::JoinedThreads() : data_(std::make_shared<Data>()) {}

JoinedThreads::~JoinedThreads() = default;

bool JoinedThreads::start(std::wstring name, std::function<void()> body) {
    std::unique_lock lock(data_->mutex);
    data_->reap(lock);
    data_->live.emplace_back();
    const auto self = std::prev(data_->live.end());
    try {
        *self = std::thread([data = data_, self, name = std::move(name), body = std::move(body)]() mutable {
            sys::nameThisThread(name);
            body();
            body = nullptr;
            std::lock_guard ending(data->mutex);
            data->ended.splice(data->ended.end(), data->live, self);
            data->changed.notify_all();
        });
    } catch (const std::exception&) {
        data_->live.erase(self);
        return false;
    }
    return true;
}

void JoinedThreads::joinAll() {
    std::unique_lock lock(data_->mutex);
    for (;;) {
        data_->reap(lock);
        if (data_->live.empty() && data_->ended.empty() && data_->joining == 0) return;
        data_->changed.wait(
            lock, [&] { return !data_->ended.empty() || (data_->live.empty() && data_->joining == 0); });
    }
}

}  // namespace CORE
