#include "framework/core/corelock.h"

#include <utility>

namespace CORE {

corecritsec::corecritsec(std::wstring name) : name_(std::move(name)) {}
corecritsec::~corecritsec() = default;
void corecritsec::enter() {
    mutex_.lock();
}
void corecritsec::leave() {
    mutex_.unlock();
}

coresync::coresync(corecritsec& lock, bool take) : lock_(take ? &lock : nullptr) {
    if (lock_) lock_->enter();
}
coresync::~coresync() {
    if (lock_) lock_->leave();
}

coreevent::coreevent() = default;
coreevent::~coreevent() = default;

void coreevent::set() {
    const std::lock_guard hold(mutex_);
    set_ = true;
    for (const eventcallback* one : callbacks_) one->function_();
    changed_.notify_all();  // under the lock, because a woken thread may destroy the event
}

void coreevent::reset() {
    const std::lock_guard hold(mutex_);
    set_ = false;
}

bool coreevent::isSet() const {
    const std::lock_guard hold(mutex_);
    return set_;
}

void coreevent::wait() const {
    std::unique_lock hold(mutex_);
    changed_.wait(hold, [this] { return set_; });
}

bool coreevent::waitFor(std::chrono::milliseconds limit) const {
    std::unique_lock hold(mutex_);
    return changed_.wait_for(hold, limit, [this] { return set_; });
}

eventcallback::eventcallback(const coreevent& event, std::function<void()> function)
    : event_(event), function_(std::move(function)) {
    const std::lock_guard hold(event_.mutex_);
    event_.callbacks_.push_back(this);
    if (event_.set_) function_();
}

eventcallback::~eventcallback() {
    const std::lock_guard hold(event_.mutex_);
    std::erase(event_.callbacks_, this);
}

}  // namespace CORE
