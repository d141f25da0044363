// Hexadecimal digits in the texts of LDAP.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace wsadmin::platform {

constexpr int hexDigit(char c) noexcept {  // its value, or -1
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// The byte that the two digits at the position stand for.
constexpr std::optional<char> hexByte(std::string_view text, std::size_t position) noexcept {
    if (position >= text.size() || text.size() - position < 2) return std::nullopt;
    const int high = hexDigit(text[position]);
    const int low = hexDigit(text[position + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    return static_cast<char>(high << 4 | low);
}

// Appends a backslash and two digits, in capitals as directories write them.
inline void appendEscapedByte(std::string& out, char c) {
    constexpr char digits[] = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    out += {'\\', digits[byte >> 4], digits[byte & 15]};
}

}  // namespace wsadmin::platform
