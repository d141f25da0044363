// The log of a service on standard error, from a level on that may change while it runs.
#pragma once

#include <atomic>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string_view>

#include "framework/core/log.h"

namespace mfwhost {

std::optional<int> levelNamed(std::wstring_view name) noexcept;  // "debug" ... "error", in any case

class HostLog {
  public:
    HostLog(std::ostream& out, int fromLevel);
    void setLevel(int level) noexcept { fromLevel_ = level; }
    int level() const noexcept { return fromLevel_; }

  private:
    std::atomic<int> fromLevel_;
    std::shared_ptr<CORE::LogHandle> sink_;
};

}  // namespace mfwhost
