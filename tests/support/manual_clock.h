// A clock that a test moves.
#pragma once

#include <atomic>

#include "platform/clock.h"

namespace wstest {

class ManualClock : public wsadmin::platform::Clock {
  public:
    std::chrono::system_clock::time_point now() const override {
        return std::chrono::system_clock::time_point(std::chrono::milliseconds(milliseconds_.load()));
    }
    std::chrono::steady_clock::time_point monotonic() const override {
        return std::chrono::steady_clock::time_point(std::chrono::milliseconds(milliseconds_.load()));
    }
    std::chrono::local_seconds local(std::chrono::sys_seconds time) const override {
        return std::chrono::local_seconds(time.time_since_epoch() + localOffset);
    }
    bool wait(std::chrono::milliseconds time, const CORE::coreevent* stop) override {
        if (stop && stop->isSet()) return true;
        advance(time);
        return false;
    }
    std::chrono::hours localOffset{0};
    void advance(std::int64_t seconds) { advance(std::chrono::seconds(seconds)); }
    void advance(std::chrono::milliseconds time) { milliseconds_ += time.count(); }

  private:
    std::atomic<std::int64_t> milliseconds_{1'000'000'000};
};

}  // namespace wstest
