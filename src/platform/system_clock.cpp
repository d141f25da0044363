#include "platform/system_clock.h"

#include <thread>

namespace wsadmin::platform {

namespace {

class SystemClock final : public Clock {
  public:
    std::chrono::system_clock::time_point now() const override { return std::chrono::system_clock::now(); }
    std::chrono::steady_clock::time_point monotonic() const override {
        return std::chrono::steady_clock::now();
    }
    bool wait(std::chrono::milliseconds time, const CORE::coreevent* stop) override {
        if (stop) return stop->waitFor(time);
        std::this_thread::sleep_for(time);
        return false;
    }
};

}  // namespace

std::shared_ptr<Clock> makeSystemClock() {
    return std::make_shared<SystemClock>();
}

}  // namespace wsadmin::platform
