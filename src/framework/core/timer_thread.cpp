#include "framework/core/timer_thread.h"

#include "framework/core/coreexception.h"

namespace CORE {

TimerThread& TimerThread::System() {
    static auto* const instance = new TimerThread;
    return *instance;
}

void TimerThread::ensureRunning() {
    std::lock_guard lock(mutex_);
    if (running_) return;
    context_.restart();
    work_.emplace(context_.get_executor());
    if (!thread_.start(L"mfwTimerThread", [this] { context_.run(); })) {
        work_.reset();
        throw coreException(L"The timer thread could not be started");
    }
    running_ = true;
}

}  // namespace CORE
