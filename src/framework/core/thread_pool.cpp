#include "framework/core/thread_pool.h"

#include <utility>

namespace CORE {

bool ThreadPool::submit(Task task) {
    std::lock_guard lock(mutex_);
    if (stopping_) return false;
    queue_.push_back(std::move(task));
    if (queue_.size() > free_) {
        if (threads_.start(L"mfwWorkerThread", [this] { work(); })) {
            ++alive_;
            ++free_;
        } else if (alive_ == 0) {
            queue_.pop_back();
            return false;
        }
    }
    wake_.notify_one();
    return true;
}

// False when this thread should end: it was idle for too long, or the pool stops.
bool ThreadPool::waitForTask(std::unique_lock<std::mutex>& lock) {
    const auto idleSince = std::chrono::steady_clock::now();
    while (queue_.empty() && !stopping_) {
        const auto end = idleSince + idleLimit_;
        if (std::chrono::steady_clock::now() >= end) return false;
        wake_.wait_until(lock, end);
    }
    return !queue_.empty();
}

void ThreadPool::work() {
    std::unique_lock lock(mutex_);
    while (waitForTask(lock)) {
        Task task = std::move(queue_.front());
        queue_.pop_front();
        --free_;
        lock.unlock();
        task();
        task = nullptr;
        lock.lock();
        ++free_;
    }
    --free_;
    --alive_;
}

void ThreadPool::stop() {
    std::unique_lock lock(mutex_);
    stopping_ = true;
    wake_.notify_all();
    lock.unlock();
    threads_.joinAll();
    lock.lock();
    stopping_ = false;
}

int ThreadPool::threads() const {
    std::lock_guard lock(mutex_);
    return static_cast<int>(alive_);
}

void ThreadPool::setIdleLimit(std::chrono::milliseconds limit) {
    std::lock_guard lock(mutex_);
    idleLimit_ = limit;
    wake_.notify_all();
}

}  // namespace CORE
