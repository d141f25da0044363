// Passwords on their way into the platform.
#pragma once

#include <string>
#include <string_view>

#include "framework/core/corestring.h"

namespace wsadmin::platform::windows {

// A password in the form that the platform takes, overwritten when it goes.
class WideSecret {
  public:
    explicit WideSecret(std::string_view utf8) : text_(CORE::toWide(utf8)) {}
    ~WideSecret() { CORE::wipeMemory(text_.data(), text_.size() * sizeof(wchar_t)); }
    WideSecret(const WideSecret&) = delete;
    WideSecret& operator=(const WideSecret&) = delete;
    std::wstring& text() noexcept { return text_; }

  private:
    std::wstring text_;
};

}  // namespace wsadmin::platform::windows
