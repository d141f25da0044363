// Letters and digits of ASCII, in either width and whatever the locale.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

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

inline bool isAscii(std::string_view text) noexcept {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}
// The same but for the case of ASCII letters.
inline bool equalAscii(std::string_view a, std::string_view b) noexcept {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return asciiLower(x) == asciiLower(y); });
}

}  // namespace CORE
