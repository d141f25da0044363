#include "framework/core/lossless_utf8.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "framework/core/text_blocks.h"

namespace CORE::lossless {

namespace {

using Unit = std::make_unsigned_t<wchar_t>;
using Number = std::uint32_t;

constexpr bool wideIsUtf16 = sizeof(wchar_t) == 2;
constexpr Number replacement = 0xFFFD;

// What fits after a lead byte and n-1 continuation bytes; the rest takes a seventh byte, which only wide
// units of 32 bits can need.
constexpr std::array<Number, 6> limits = {0x80, 0x800, 0x10000, 0x200000, 0x4000000, 0x80000000};

std::size_t sizeOf(Number number) noexcept {
    std::size_t bytes = 1;
    for (const Number limit : limits) {
        if (number < limit) return bytes;
        ++bytes;
    }
    return bytes;
}

char* put(Number number, char* to) noexcept {
    const std::size_t bytes = sizeOf(number);
    if (bytes == 1) {
        *to = static_cast<char>(number);
        return to + 1;
    }
    for (std::size_t i = bytes; --i > 0; number >>= 6) to[i] = static_cast<char>(0x80 | (number & 0x3F));
    const unsigned lead = (0xFF00u >> bytes) & 0xFF;
    *to = static_cast<char>(lead | number);
    return to + bytes;
}

std::size_t asciiPrefix(std::wstring_view text) noexcept {
    std::size_t i = 0;
    for (std::uint64_t bytes = 0; i + blocks::word <= text.size(); i += blocks::word)
        if (!blocks::take8(text.data() + i, bytes)) break;
    while (i < text.size() && static_cast<Unit>(text[i]) < 0x80) ++i;
    return i;
}

// The number of the unit at `i`, which is moved past it; a surrogate pair of 16-bit units is one number.
Number takeWide(std::wstring_view text, std::size_t& i) noexcept {
    const auto first = Number{static_cast<Unit>(text[i++])};
    if constexpr (wideIsUtf16) {
        if (first >= 0xD800 && first < 0xDC00 && i < text.size()) {
            const auto second = Number{static_cast<Unit>(text[i])};
            if (second >= 0xDC00 && second < 0xE000) {
                ++i;
                return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
            }
        }
    }
    return first;
}

void putWide(Number number, std::wstring& to) {
    if constexpr (wideIsUtf16) {
        if (number > 0xFFFF) {
            if (number > 0x10FFFF) {
                to += static_cast<wchar_t>(replacement);
                return;
            }
            to += static_cast<wchar_t>(0xD800 + ((number - 0x10000) >> 10));
            to += static_cast<wchar_t>(0xDC00 + ((number - 0x10000) & 0x3FF));
            return;
        }
    }
    to += static_cast<wchar_t>(number);
}

std::size_t sizeByLead(unsigned char lead) noexcept {
    if (lead < 0x80) return 1;
    if (lead < 0xC0) return 0;
    std::size_t bytes = 2;
    for (unsigned mask = 0x20; bytes < 8 && (lead & mask) != 0; mask >>= 1) ++bytes;
    return bytes < 8 ? bytes : 0;
}

// The number at `i`, which is moved past it. Of a broken form, the lead byte and what rightly follows it
// count as one.
Number takeBytes(std::string_view text, std::size_t& i) noexcept {
    const auto lead = static_cast<unsigned char>(text[i++]);
    const std::size_t bytes = sizeByLead(lead);
    if (bytes == 1) return lead;
    if (bytes == 0) return replacement;
    std::uint64_t number = lead & (0x7Fu >> bytes);
    for (std::size_t k = 1; k < bytes; ++k, ++i) {
        if (i == text.size() || (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) return replacement;
        number = number << 6 | (static_cast<unsigned char>(text[i]) & 0x3F);
    }
    if (number > 0xFFFFFFFF || sizeOf(static_cast<Number>(number)) != bytes) return replacement;
    return static_cast<Number>(number);
}

}  // namespace

bool isAscii(std::string_view text) noexcept {
    const auto any = [](std::uint64_t, std::size_t, std::size_t) { return true; };
    return blocks::cover(text.data(), text.size(), any);
}

std::size_t encodedSize(std::wstring_view text) noexcept {
    std::size_t i = asciiPrefix(text);
    std::size_t bytes = i;
    while (i < text.size()) bytes += sizeOf(takeWide(text, i));
    return bytes;
}

void encode(std::wstring_view text, char* to) noexcept {
    std::size_t i = 0;
    for (std::uint64_t bytes = 0; i + blocks::word <= text.size(); i += blocks::word, to += blocks::word) {
        if (!blocks::take8(text.data() + i, bytes)) break;
        std::memcpy(to, &bytes, blocks::word);
    }
    while (i < text.size()) to = put(takeWide(text, i), to);
}

std::wstring decode(std::string_view text) {
    if (isAscii(text)) return {text.begin(), text.end()};
    std::wstring wide;
    wide.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) putWide(takeBytes(text, i), wide);
    return wide;
}

}  // namespace CORE::lossless
