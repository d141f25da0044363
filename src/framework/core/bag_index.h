// Finds the entries of a name in a large bag: a hash table from the name to its last entry, and a ring
// through all entries of one name, so that the first, the next and a new last one are each one step away,
// however often a name repeats. The index knows entries by number only; whether one has the name that is
// meant, it asks the caller: `same(entry)`.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace CORE {

class BagIndex {
  public:
    static constexpr std::uint32_t none = 0xFFFFFFFF;

    // The first entry of the name.
    template <class Same>
    std::uint32_t first(std::uint32_t hash, Same&& same) const {
        if (slots_.empty()) return none;
        const Slot& slot = slots_[find(hash, same)];
        return slot.last == none ? none : next_[slot.last];
    }

    // The next entry of the same name.
    std::uint32_t after(std::uint32_t entry) const noexcept {
        const std::uint32_t next = next_[entry];
        return next > entry ? next : none;  // rings run upwards; going down is going round
    }

    // Takes in the entry that follows the last one.
    template <class Same>
    void add(std::uint32_t hash, Same&& same) {
        if ((names_ + 1) * 5 > slots_.size() * 4) resize(slots_.empty() ? smallest : slots_.size() * 2);
        const auto entry = static_cast<std::uint32_t>(next_.size());
        Slot& slot = slots_[find(hash, same)];
        next_.push_back(entry);
        if (slot.last == none)
            ++names_;
        else
            std::swap(next_[entry], next_[slot.last]);
        slot = {hash, entry};
    }

    void reserveMore(std::size_t entries, std::size_t names);
    std::size_t bytes() const noexcept {
        return slots_.capacity() * sizeof(Slot) + next_.capacity() * sizeof next_[0];
    }

  private:
    static constexpr std::size_t smallest = 32;  // slots, a power of two

    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t last = none;
    };

    // The slot of the name, or the free one where it would go.
    template <class Same>
    std::size_t find(std::uint32_t hash, Same&& same) const {
        const std::size_t mask = slots_.size() - 1;
        std::size_t at = hash & mask;
        while (slots_[at].last != none && (slots_[at].hash != hash || !same(slots_[at].last)))
            at = (at + 1) & mask;
        return at;
    }

    void resize(std::size_t slots);

    std::vector<Slot> slots_;
    std::vector<std::uint32_t> next_;  // by entry; of the last one of a name: the first
    std::size_t names_ = 0;
};

}  // namespace CORE
