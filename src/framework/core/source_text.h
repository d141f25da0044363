// Text on its way into a bag, wide or already encoded, measured once. It may lie in the bag's own memory.
#pragma once

#include <cstring>
#include <string_view>

#include "framework/core/ascii.h"
#include "framework/core/unicode.h"

namespace CORE {

class SourceText {
  public:
    explicit SourceText(std::wstring_view text) noexcept
        : wide_(text), isWide_(true), size_(unicode::encodedSize(text, unicode::Policy::lossless)) {}
    explicit SourceText(std::string_view text) noexcept : narrow_(text), size_(text.size()) {}

    std::size_t size() const noexcept { return size_; }  // bytes
    bool ascii() const noexcept { return isWide_ ? size_ == wide_.size() : CORE::isAscii(narrow_); }
    void write(char* to) const noexcept {
        if (isWide_)
            unicode::encode(wide_, to, unicode::Policy::lossless);
        else if (size_ > 0)
            std::memmove(to, narrow_.data(), size_);
    }

  private:
    std::wstring_view wide_;
    std::string_view narrow_;
    bool isWide_ = false;
    std::size_t size_;
};

}  // namespace CORE
