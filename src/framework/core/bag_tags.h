// One byte for each of the first names in a bag, made of its length and two of its letters, all compared with
// that of a name in one step. So a small bag needs no index: hardly any name but the right one is ever looked
// at.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace CORE {

class BagTags {
  public:
    static constexpr std::size_t room = 16;

    // The same whatever the case and the width, as long as the name is ASCII.
    template <class Ch>
    static std::uint8_t tagOf(std::basic_string_view<Ch> name) noexcept {
        if (name.empty()) return 0;
        const auto letter = [](Ch c) { return static_cast<unsigned>(c) | 0x20; };
        return static_cast<std::uint8_t>(static_cast<unsigned>(name.size()) * 29 + letter(name.back()) * 7 +
                                         letter(name.front()));
    }

    void note(std::size_t at, std::uint8_t tag) noexcept {
        if (at < room) tags_[at] = tag;
    }

    // Bit i is set when the i-th name has that tag.
    std::uint32_t having(std::uint8_t tag) const noexcept {
#if defined(__SSE2__)
        const __m128i tags = _mm_loadu_si128(reinterpret_cast<const __m128i*>(tags_.data()));
        const __m128i equal = _mm_cmpeq_epi8(tags, _mm_set1_epi8(static_cast<char>(tag)));
        return static_cast<std::uint32_t>(_mm_movemask_epi8(equal));
#else
        std::uint32_t bits = 0;
        for (std::size_t at = 0; at < room; ++at) bits |= (tags_[at] == tag ? 1u : 0u) << at;
        return bits;
#endif
    }

  private:
    std::array<std::uint8_t, room> tags_{};
};

}  // namespace CORE
