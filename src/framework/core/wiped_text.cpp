#include "framework/core/wiped_text.h"

#include <algorithm>

#include "framework/core/coreexception.h"
#include "framework/core/corestring.h"

namespace CORE {

namespace {

constexpr std::size_t smallestBlock = 64;

std::uint32_t checked(std::size_t bytes) {
    if (bytes > WipedText::limit) throw coreException(L"A property bag cannot hold more than 4 GB of text");
    return static_cast<std::uint32_t>(bytes);
}

}  // namespace

WipedText::WipedText(std::size_t capacity) : capacity_(checked(capacity)) {
    if (capacity_ > 0) block_ = std::make_unique_for_overwrite<char[]>(capacity_);
}

WipedText::WipedText(const WipedText& other) : WipedText(other.size_) {
    other.view().copy(block_.get(), other.size_);
    size_ = other.size_;
}

WipedText::~WipedText() {
    if (size_ > 0) wipeMemory(block_.get(), size_);
}

void WipedText::swap(WipedText& other) noexcept {
    block_.swap(other.block_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
}

void WipedText::reserve(std::size_t capacity) {
    if (capacity <= capacity_) return;
    WipedText larger(capacity);
    view().copy(larger.block_.get(), size_);
    larger.size_ = size_;
    swap(larger);
}

WipedText WipedText::grown(std::size_t bytes) const {
    // Checked without adding first: the addition itself could overflow.
    if (bytes > limit - size_) checked(limit + std::size_t{1});
    const std::size_t generous = std::min(limit, std::size_t{capacity_} + capacity_ / 2);
    WipedText larger;
    larger.reserve(std::max({size_ + bytes, generous, smallestBlock}));
    view().copy(larger.block_.get(), size_);
    larger.size_ = size_;
    return larger;
}

void WipedText::wipe(TextSpan span) noexcept {
    if (span.length > 0) wipeMemory(at(span.offset), span.length);
}

}  // namespace CORE
