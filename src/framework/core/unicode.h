// One character at a time out of UTF-8 and wide text. Inside the framework only.
#pragma once

#include <cstddef>
#include <string_view>

namespace CORE::unicode {

inline constexpr char32_t replacement = 0xFFFD;
inline constexpr char32_t beyond =
    0x110000;  // above every code point: what is not text, kept apart by its value

struct Decoded {
    char32_t c;          // a code point, or `beyond` plus the unit that is not text
    std::size_t length;  // units taken, at least 1
    bool valid() const noexcept { return c < beyond; }
};

// The position is inside the text. A malformed sequence is taken one unit at a time.
Decoded decode(std::string_view utf8, std::size_t at) noexcept;
Decoded decode(std::wstring_view wide, std::size_t at) noexcept;

inline bool isSurrogate(char32_t c) noexcept {
    return c >= 0xD800 && c <= 0xDFFF;
}
char32_t fold(char32_t c) noexcept;

// Where `what` begins in the text without regard to case, or npos.
std::size_t findFolded(std::string_view text, std::string_view what, std::size_t from) noexcept;
std::size_t findFolded(std::wstring_view text, std::wstring_view what, std::size_t from) noexcept;

}  // namespace CORE::unicode
