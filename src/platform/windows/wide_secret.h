// Passwords on their way into the platform.
#pragma once

#include "platform/windows/handles.h"
// After the platform's base headers:
#include <oleauto.h>

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
    const std::wstring& text() const noexcept { return text_; }

  private:
    std::wstring text_;
};

// The same as COM takes it.
class SecretBstr {
  public:
    explicit SecretBstr(std::string_view utf8) {
        const WideSecret text(utf8);
        text_ = SysAllocStringLen(text.text().data(), static_cast<UINT>(text.text().size()));
    }
    ~SecretBstr() {
        if (text_) CORE::wipeMemory(text_, SysStringByteLen(text_));
        SysFreeString(text_);
    }
    SecretBstr(const SecretBstr&) = delete;
    SecretBstr& operator=(const SecretBstr&) = delete;
    BSTR get() const noexcept { return text_; }

  private:
    BSTR text_ = nullptr;
};

}  // namespace wsadmin::platform::windows
