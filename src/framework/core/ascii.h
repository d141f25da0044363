// Letters and digits of ASCII, in either width and whatever the locale.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <type_traits>

namespace CORE {

template <class Ch>
constexpr bool isAsciiUpper(Ch c) noexcept {
    return c >= Ch('A') && c <= Ch('Z');
}
template <class Ch>
constexpr bool isAsciiLower(Ch c) noexcept {
    return c >= Ch('a') && c <= Ch('z');
}
template <class Ch>
constexpr bool isAsciiLetter(Ch c) noexcept {
    return isAsciiUpper(c) || isAsciiLower(c);
}
template <class Ch>
constexpr bool isAsciiDigit(Ch c) noexcept {
    return c >= Ch('0') && c <= Ch('9');
}
template <class Ch>
constexpr bool isAsciiAlphanumeric(Ch c) noexcept {
    return isAsciiLetter(c) || isAsciiDigit(c);
}

template <class Ch>
constexpr Ch asciiLower(Ch c) noexcept {
    return isAsciiUpper(c) ? static_cast<Ch>(c + ('a' - 'A')) : c;
}
template <class Ch>
constexpr Ch asciiUpper(Ch c) noexcept {
    return isAsciiLower(c) ? static_cast<Ch>(c - ('a' - 'A')) : c;
}
inline std::string asciiLower(std::string text) {
    for (char& c : text) c = asciiLower(c);
    return text;
}
inline std::string asciiUpper(std::string text) {
    for (char& c : text) c = asciiUpper(c);
    return text;
}

// How many characters at the beginning are ASCII.
template <class Ch>
std::size_t asciiPrefix(std::basic_string_view<Ch> text) noexcept {
    const auto number = [text](std::size_t at) { return static_cast<std::make_unsigned_t<Ch>>(text[at]); };
    std::size_t at = 0;
    for (; at + 8 <= text.size(); at += 8) {  // most text is ASCII, and a block of it needs one comparison
        std::make_unsigned_t<Ch> bits = 0;
        for (std::size_t i = 0; i < 8; ++i) bits |= number(at + i);
        if (bits >= 0x80) break;
    }
    while (at < text.size() && number(at) < 0x80) ++at;
    return at;
}
template <class Ch>
bool isAscii(std::basic_string_view<Ch> text) noexcept {
    return asciiPrefix(text) == text.size();
}
// The same but for the case of ASCII letters.
inline bool equalAscii(std::string_view a, std::string_view b) noexcept {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return asciiLower(x) == asciiLower(y); });
}

}  // namespace CORE
