// Captures the log lines of a scope, for tests that check them.
#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/log.h"

namespace wstest {

struct LogLine {
    int level;
    std::wstring text;
    bool operator==(const LogLine&) const = default;
};

class LogCapture {
  public:
    explicit LogCapture(int fromLevel = CORE::logDebug)
        : handle_(CORE::addLogSink(fromLevel, [this](int level, std::wstring_view, std::wstring_view text) {
              const std::lock_guard lock(mutex_);
              lines_.push_back({level, std::wstring(text)});
          })) {}

    std::vector<LogLine> lines() const {
        const std::lock_guard lock(mutex_);
        return lines_;
    }
    void forget() {
        const std::lock_guard lock(mutex_);
        lines_.clear();
    }
    bool contains(int level, std::wstring_view text) const {
        const auto all = lines();
        return std::ranges::any_of(
            all, [&](const LogLine& line) { return line.level == level && line.text == text; });
    }

  private:
    mutable std::mutex mutex_;
    std::vector<LogLine> lines_;
    std::shared_ptr<CORE::LogHandle> handle_;  // last: goes first
};

}  // namespace wstest
