// A block of text that is overwritten before it is freed. Its capacity is fixed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "framework/core/corestring.h"

namespace CORE {

class WipedText {
  public:
    WipedText() = default;
    explicit WipedText(std::size_t capacity)
        : block_(capacity > 0 ? std::make_unique_for_overwrite<char[]>(capacity) : nullptr),
          capacity_(capacity) {}
    WipedText(const WipedText& other) : WipedText(other.size_) { append(other.view(0, other.size_)); }
    WipedText(WipedText&& other) noexcept { swap(other); }
    WipedText& operator=(WipedText other) noexcept {
        swap(other);
        return *this;
    }
    ~WipedText() { wipe(0, size_); }
    void swap(WipedText& other) noexcept {
        block_.swap(other.block_);
        std::swap(size_, other.size_);
        std::swap(capacity_, other.capacity_);
    }

    std::size_t size() const noexcept { return size_; }
    std::size_t room() const noexcept { return capacity_ - size_; }
    std::string_view view(std::size_t offset, std::size_t length) const noexcept {
        return {block_.get() + offset, length};
    }
    // Lengthens the text by so many bytes, at most room(), and returns where to write them.
    char* extend(std::size_t bytes) noexcept { return block_.get() + std::exchange(size_, size_ + bytes); }
    void append(std::string_view text) noexcept {
        if (!text.empty()) std::memcpy(extend(text.size()), text.data(), text.size());
    }
    void wipe(std::size_t offset, std::size_t length) noexcept {
        if (length > 0) wipeMemory(block_.get() + offset, length);
    }

  private:
    std::unique_ptr<char[]> block_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

}  // namespace CORE
