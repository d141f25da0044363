// The one codec between UTF-8 and wide text, and comparison without regard to case on top of it. Inside the
// framework only; corestring.h has what everybody uses.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace CORE::unicode {

inline constexpr char32_t replacement = 0xFFFD;

// What becomes of text that is not valid Unicode. In both, malformed bytes are decoded to U+FFFD, one each.
enum class Policy {
    replacing,  // a lone surrogate becomes U+FFFD: what is written is always valid UTF-8
    lossless,   // every wchar_t, lone surrogates and numbers beyond Unicode too, has a form of its own (WTF-8
                // and the original seven-byte scheme), so that decoding gives back what was encoded
};

struct Decoded {
    char32_t c;          // a code point; of malformed text, the unit
    std::size_t length;  // units taken, at least 1
    bool valid;
};

// The position is inside the text. Malformed text is taken one unit at a time.
Decoded decode(std::string_view utf8, std::size_t at, Policy policy = Policy::replacing) noexcept;
Decoded decode(std::wstring_view wide, std::size_t at) noexcept;

std::size_t encodedSize(std::wstring_view wide, Policy policy) noexcept;  // in bytes
char* encode(std::wstring_view wide, char* to, Policy policy) noexcept;   // writes encodedSize bytes; the end
std::wstring decodeAll(std::string_view utf8, Policy policy);

char32_t fold(char32_t c) noexcept;  // the same for all cases of a letter
// Where `what` begins in the text without regard to case, or npos.
std::size_t findFolded(std::wstring_view text, std::wstring_view what, std::size_t from) noexcept;

}  // namespace CORE::unicode
