#include "framework/core/bag_index.h"

#include <algorithm>
#include <bit>

namespace CORE {

void BagIndex::reserveMore(std::size_t entries, std::size_t names) {
    const std::size_t needed = next_.size() + entries;
    if (needed > next_.capacity()) next_.reserve(std::max(needed, next_.capacity() * 2));
    const std::size_t slots = std::bit_ceil((names_ + names) * 5 / 4 + 1);
    if (slots > slots_.size()) resize(std::max(slots, smallest));
}

void BagIndex::resize(std::size_t slots) {
    std::vector<Slot> old(slots);
    old.swap(slots_);
    for (const Slot& slot : old)
        if (slot.last != none) slots_[find(slot.hash, [](std::uint32_t) { return false; })] = slot;
}

}  // namespace CORE
