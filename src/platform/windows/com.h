// COM's texts and variants, and the way from one interface of an object to another.
#pragma once

#include "platform/windows/handles.h"
// After the platform's base headers:
#include <oleauto.h>

#include <string>
#include <string_view>

#include "framework/core/corestring.h"

namespace wsadmin::platform::windows {

// Another interface of the object; null where it has none.
template <class T>
UniqueCom<T> queryCom(IUnknown* object, const IID& id) {
    void* found = nullptr;
    if (!object || FAILED(object->QueryInterface(id, &found))) return nullptr;
    return UniqueCom<T>(static_cast<T*>(found));
}

class Bstr {
  public:
    Bstr() = default;
    explicit Bstr(std::string_view utf8) : Bstr(std::wstring_view(CORE::toWide(utf8))) {}
    explicit Bstr(std::wstring_view text)
        : text_(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}
    ~Bstr() { SysFreeString(text_); }
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    BSTR get() const noexcept { return text_; }
    BSTR* receive() noexcept { return &text_; }  // once, while empty
    std::string utf8() const { return CORE::toUtf8({text_ ? text_ : L"", SysStringLen(text_)}); }

  private:
    BSTR text_ = nullptr;
};

class Variant {
  public:
    Variant() { VariantInit(&value_); }
    ~Variant() { VariantClear(&value_); }
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;
    VARIANT& get() noexcept { return value_; }
    const VARIANT& get() const noexcept { return value_; }
    VARIANT* receive() noexcept { return &value_; }  // while empty

  private:
    VARIANT value_;
};

}  // namespace wsadmin::platform::windows
