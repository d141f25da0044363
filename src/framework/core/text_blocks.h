// Characters taken eight or four at a time, as machine words: most text here is ASCII, and short.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace CORE::blocks {

inline constexpr std::size_t word = 8;
inline constexpr std::size_t half = 4;

// Each take answers whether all the characters are ASCII, and then their bytes.
inline bool take8(const char* from, std::uint64_t& bytes) noexcept {
    std::memcpy(&bytes, from, word);
    return (bytes & 0x8080808080808080u) == 0;
}

inline bool take4(const char* from, std::uint64_t& bytes) noexcept {
    std::uint32_t low = 0;
    std::memcpy(&low, from, half);
    bytes = low;
    return (low & 0x80808080u) == 0;
}

#if defined(__SSE2__)

inline bool allZero(__m128i bits) noexcept {
    return _mm_movemask_epi8(_mm_cmpeq_epi8(bits, _mm_setzero_si128())) == 0xFFFF;
}

inline std::uint64_t lowWord(__m128i bits) noexcept {
    return static_cast<std::uint64_t>(_mm_cvtsi128_si64(bits));
}

inline __m128i load16(const wchar_t* from) noexcept {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

inline bool take8(const wchar_t* from, std::uint64_t& bytes) noexcept {
    __m128i shorts = load16(from);
    __m128i beyond;
    if constexpr (sizeof(wchar_t) == 4) {
        const __m128i more = load16(from + half);
        beyond = _mm_and_si128(_mm_or_si128(shorts, more), _mm_set1_epi32(~0x7F));
        shorts = _mm_packs_epi32(shorts, more);
    } else {
        beyond = _mm_and_si128(shorts, _mm_set1_epi16(~0x7F));
    }
    bytes = lowWord(_mm_packus_epi16(shorts, shorts));
    return allZero(beyond);
}

inline bool take4(const wchar_t* from, std::uint64_t& bytes) noexcept {
    __m128i shorts;
    __m128i beyond;
    if constexpr (sizeof(wchar_t) == 4) {
        const __m128i units = load16(from);
        beyond = _mm_and_si128(units, _mm_set1_epi32(~0x7F));
        shorts = _mm_packs_epi32(units, _mm_setzero_si128());
    } else {
        shorts = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from));
        beyond = _mm_and_si128(shorts, _mm_set1_epi16(~0x7F));
    }
    bytes = lowWord(_mm_packus_epi16(shorts, _mm_setzero_si128()));
    return allZero(beyond);
}

// The same characters, exactly.
inline bool equal8(const wchar_t* text, const char* kept) noexcept {
    const __m128i zero = _mm_setzero_si128();
    const __m128i shorts = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(kept)), zero);
    __m128i difference;
    if constexpr (sizeof(wchar_t) == 4)
        difference = _mm_or_si128(_mm_xor_si128(load16(text), _mm_unpacklo_epi16(shorts, zero)),
                                  _mm_xor_si128(load16(text + half), _mm_unpackhi_epi16(shorts, zero)));
    else
        difference = _mm_xor_si128(load16(text), shorts);
    return allZero(difference);
}

#else

inline bool equal8(const wchar_t* text, const char* kept) noexcept {
    for (std::size_t i = 0; i < word; ++i)
        if (text[i] != static_cast<unsigned char>(kept[i])) return false;
    return true;
}

template <std::size_t n>
bool takeEach(const wchar_t* from, std::uint64_t& bytes) noexcept {
    std::make_unsigned_t<wchar_t> beyond = 0;
    char narrow[word] = {};
    for (std::size_t i = 0; i < n; ++i) {
        beyond = static_cast<decltype(beyond)>(beyond | static_cast<decltype(beyond)>(from[i]));
        narrow[i] = static_cast<char>(from[i]);
    }
    std::memcpy(&bytes, narrow, word);
    return beyond < 0x80;
}

inline bool take8(const wchar_t* from, std::uint64_t& bytes) noexcept {
    return takeEach<word>(from, bytes);
}
inline bool take4(const wchar_t* from, std::uint64_t& bytes) noexcept {
    return takeEach<half>(from, bytes);
}

#endif

// Calls `each(bytes, at, how many)` with words that cover the whole text, which may overlap; a text shorter
// than four characters comes one by one. False as soon as a character is not ASCII or `each` says so.
template <class Ch, class Each>
bool cover(const Ch* text, std::size_t size, Each&& each) {
    std::uint64_t bytes = 0;
    if (size >= word) {
        std::size_t at = 0;
        for (; at + word < size; at += word)
            if (!take8(text + at, bytes) || !each(bytes, at, word)) return false;
        return take8(text + size - word, bytes) && each(bytes, size - word, word);
    }
    if (size >= half)
        return take4(text, bytes) && each(bytes, std::size_t{0}, half) && take4(text + size - half, bytes) &&
               each(bytes, size - half, half);
    for (std::size_t at = 0; at < size; ++at) {
        const auto c = static_cast<std::make_unsigned_t<Ch>>(text[at]);
        if (c >= 0x80 || !each(std::uint64_t{c}, at, std::size_t{1})) return false;
    }
    return true;
}

// Sets bit 5 of the bytes that are 'A' to 'Z'; all are ASCII.
inline std::uint64_t fold(std::uint64_t bytes) noexcept {
    constexpr std::uint64_t every = 0x0101010101010101u;
    const std::uint64_t fromA = bytes + (0x80 - 'A') * every;
    const std::uint64_t afterZ = bytes + (0x7F - 'Z') * every;
    return bytes | (((fromA ^ afterZ) & (0x80 * every)) >> 2);
}

// The comparisons below are of a text with one that is kept, which has the same length and is all ASCII.

inline bool equal(const char* text, const char* kept, std::size_t size) noexcept {
    return std::char_traits<char>::compare(text, kept, size) == 0;  // empty ones may have no address
}

inline bool equal(const wchar_t* text, const char* kept, std::size_t size) noexcept {
    if (size < word) {
        for (std::size_t at = 0; at < size; ++at)
            if (text[at] != static_cast<wchar_t>(kept[at])) return false;
        return true;
    }
    std::size_t at = 0;
    for (; at + word < size; at += word)
        if (!equal8(text + at, kept + at)) return false;
    return equal8(text + size - word, kept + size - word);
}

// Without regard to case.
template <class Ch>
bool sameFolded(const Ch* text, const char* kept, std::size_t size) {
    return cover(text, size, [kept](std::uint64_t bytes, std::size_t at, std::size_t n) {
        std::uint64_t other = 0;
        std::memcpy(&other, kept + at, n);
        return fold(bytes) == fold(other);
    });
}

// The same in few steps, because most are written alike.
template <class Ch>
inline bool same(const Ch* text, const char* kept, std::size_t size) {
    return size == 0 || equal(text, kept, size) || sameFolded(text, kept, size);
}

}  // namespace CORE::blocks
