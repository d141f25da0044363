#include "framework/core/thread_pool.h"

#include <chrono>
#include <utility>

namespace CORE {

namespace {

constexpr std::chrono::seconds idleLimit{30};

}  // namespace

bool ThreadPool::submit(Task task) {
    std::lock_guard lock(mutex_);
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

void ThreadPool::work() {
    std::unique_lock lock(mutex_);
    while (wake_.wait_for(lock, idleLimit, [this] { return !queue_.empty(); })) {
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

}  // namespace CORE
