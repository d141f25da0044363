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

}  // namespace CORE
