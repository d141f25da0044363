#include "platform/portable/system_clock.h"

#include <ctime>
#include <thread>

namespace wsadmin::platform {

namespace {

class SystemClock final : public Clock {
  public:
    std::chrono::system_clock::time_point now() const override { return std::chrono::system_clock::now(); }
    std::chrono::steady_clock::time_point monotonic() const override {
        return std::chrono::steady_clock::now();
    }
    std::chrono::local_seconds local(std::chrono::sys_seconds time) const override {
        const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
        std::tm parts{};
#if defined(_WIN32)
        localtime_s(&parts, &seconds);
#else
        localtime_r(&seconds, &parts);
#endif
        const std::chrono::local_days day{std::chrono::year(parts.tm_year + 1900) / (parts.tm_mon + 1) /
                                          parts.tm_mday};
        return day + std::chrono::hours(parts.tm_hour) + std::chrono::minutes(parts.tm_min) +
               std::chrono::seconds(parts.tm_sec);
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
