// Time that passes at once, until the service stops.
#pragma once

#include <functional>
#include <optional>

#include "support/manual_clock.h"

namespace wstest {

class StoppingClock final : public ManualClock {
  public:
    // `stop` is called when the wait of that number begins.
    StoppingClock(std::function<void()> stop, int atWait) : stop_(std::move(stop)), left_(atWait) {}
    bool wait(std::chrono::milliseconds time, const CORE::coreevent* stop) override {
        if (--left_ == 0) {
            stop_();
            stoppedAt = now();
        }
        return ManualClock::wait(time, stop);
    }
    std::optional<std::chrono::system_clock::time_point> stoppedAt;

  private:
    std::function<void()> stop_;
    int left_;
};

}  // namespace wstest
