// A clock that a test moves.
#pragma once

#include <atomic>

#include "platform/clock.h"

namespace wstest {

class ManualClock : public wsadmin::platform::Clock {
  public:
    std::chrono::system_clock::time_point now() const override {
        return std::chrono::system_clock::time_point(std::chrono::seconds(seconds_.load()));
    }
    std::chrono::steady_clock::time_point monotonic() const override {
        return std::chrono::steady_clock::time_point(std::chrono::seconds(seconds_.load()));
    }
    std::chrono::local_seconds local(std::chrono::sys_seconds time) const override {
        return std::chrono::local_seconds(time.time_since_epoch() + localOffset);
    }
    bool wait(std::chrono::milliseconds time, const CORE::coreevent* stop) override {
        if (stop && stop->isSet()) return true;
        seconds_ += std::chrono::duration_cast<std::chrono::seconds>(time).count();
        return false;
    }
    std::chrono::hours localOffset{0};
    void advance(std::int64_t seconds) { seconds_ += seconds; }

  private:
    std::atomic<std::int64_t> seconds_{1'000'000};
};

}  // namespace wstest
