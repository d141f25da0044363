#include "ldap/concurrently.h"

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>

namespace wsadmin {
namespace {

// Shared with the threads. May outlive the call; `task` is dereferenced only while `next < count`.
struct Work {
    std::mutex mutex;
    std::condition_variable idle;
    std::size_t next = 0;
    std::size_t count = 0;
    std::size_t running = 0;
    const std::function<void(std::size_t)>* task = nullptr;
    std::exception_ptr failure;

    void take() {
        std::unique_lock hold(mutex);
        while (next < count && !failure) {
            const std::size_t index = next++;
            ++running;
            hold.unlock();
            std::exception_ptr thrown;
            try {
                (*task)(index);
            } catch (...) {
                thrown = std::current_exception();
            }
            hold.lock();
            --running;
            if (thrown && !failure) failure = thrown;
        }
        idle.notify_all();
    }
};

}  // namespace

void concurrently(std::size_t count, std::size_t bound, CORE::ThreadGroup& threads,
                  const std::wstring& threadName, const std::function<void(std::size_t)>& task) {
    const auto work = std::make_shared<Work>();
    work->count = count;
    work->task = &task;
    const std::size_t wanted = std::min(count, std::max<std::size_t>(bound, 1));
    for (std::size_t i = 1; i < wanted; ++i)
        if (!threads.start(threadName, [work] { work->take(); })) break;  // the others do its share
    work->take();
    std::unique_lock hold(work->mutex);
    work->idle.wait(hold, [&] { return work->running == 0; });
    if (work->failure) std::rethrow_exception(work->failure);
}

}  // namespace wsadmin
