// One growing block of text whose memory is overwritten before it is given back, also when it grows away from
// it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

namespace CORE {

// A piece of the text.
struct TextSpan {
    std::uint32_t offset = 0;
    std::uint32_t length = 0;
};

class WipedText {
  public:
    static constexpr std::size_t limit = 0xFFFFFFFF;  // bytes: what a TextSpan can reach

    WipedText() = default;
    explicit WipedText(std::size_t capacity);
    WipedText(const WipedText& other);
    WipedText(WipedText&& other) noexcept { swap(other); }
    WipedText& operator=(WipedText other) noexcept {
        swap(other);
        return *this;
    }
    ~WipedText();
    void swap(WipedText& other) noexcept;

    std::uint32_t size() const noexcept { return size_; }
    std::uint32_t capacity() const noexcept { return capacity_; }
    std::string_view view() const noexcept { return {block_.get(), size_}; }
    std::string_view view(TextSpan span) const noexcept { return {block_.get() + span.offset, span.length}; }
    char* at(std::uint32_t offset) noexcept { return block_.get() + offset; }

    // More than `limit` bytes throw a coreException.
    void reserve(std::size_t capacity);
    // Appends `bytes` bytes that `write(char*)` writes, and tells where. What it reads may lie in this very
    // text: the old block lives until it has written. Changes nothing when it throws.
    template <class Write>
    std::uint32_t append(std::size_t bytes, Write&& write) {
        const std::uint32_t offset = size_;
        if (bytes <= capacity_ - size_) {
            write(block_.get() + offset);
            size_ = static_cast<std::uint32_t>(offset + bytes);
        } else {
            WipedText larger = grown(bytes);
            write(larger.block_.get() + offset);
            larger.size_ = static_cast<std::uint32_t>(offset + bytes);
            swap(larger);
        }
        return offset;
    }
    void wipe(TextSpan span) noexcept;

  private:
    WipedText grown(std::size_t bytes) const;  // a copy with room for so many more

    std::unique_ptr<char[]> block_;
    std::uint32_t size_ = 0;
    std::uint32_t capacity_ = 0;
};

}  // namespace CORE
