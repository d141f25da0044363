#include <algorithm>
#include <utility>

#include "framework/core/corestring.h"

namespace CORE {

secretstring::secretstring() noexcept = default;
secretstring::secretstring(std::string_view text) {
    append(text);
}
secretstring::secretstring(const secretstring& other) : secretstring(other.view()) {}
secretstring::secretstring(secretstring&& other) noexcept
    : text_(std::move(other.text_)), size_(std::exchange(other.size_, 0)) {}
secretstring& secretstring::operator=(secretstring other) noexcept {
    std::swap(text_, other.text_);
    std::swap(size_, other.size_);
    return *this;
}
secretstring::~secretstring() {
    clear();
}

secretstring& secretstring::append(std::string_view text) {
    if (text.empty()) return *this;
    auto grown = std::make_unique<char[]>(size_ + text.size() + 1);
    std::copy_n(text.data(), text.size(), std::copy_n(c_str(), size_, grown.get()));
    const std::size_t size = size_ + text.size();
    clear();
    text_ = std::move(grown);
    size_ = size;
    return *this;
}

void secretstring::clear() noexcept {
    if (text_) wipeMemory(text_.get(), size_);
    text_.reset();
    size_ = 0;
}

}  // namespace CORE
