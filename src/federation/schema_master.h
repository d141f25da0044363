// The attempts to get the role of the only directory instance of a federation that may change the schema.
#pragma once

#include <optional>
#include <string>

namespace wsadmin::qrv {

// When the role is asked for. Attempts are a second apart and count from 0 on; whenever somebody else has got
// the role they count anew.
class RoleAttempts {
  public:
    static constexpr int last = 180;

    int number() const noexcept { return number_; }
    bool asksForRole() const noexcept { return number_ % 20 == 0; }
    bool seizes() const noexcept { return number_ == last; }  // before that the owner hands it over
    bool exhausted() const noexcept { return number_ == last; }
    void next() noexcept { ++number_; }
    // Whether another one than at the attempt before has the role.
    bool changes(const std::wstring& owner) {
        const bool changed = owner_ && *owner_ != owner;
        if (changed) number_ = 0;
        owner_ = owner;
        return changed;
    }

  private:
    int number_ = 0;
    std::optional<std::wstring> owner_;
};

}  // namespace wsadmin::qrv
