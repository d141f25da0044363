// The only codec between UTF-8 and wide text, and case-insensitive comparison on top of it. Internal to the
// framework; corestring.h has the public functions.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace CORE::unicode {

inline constexpr char32_t replacement = 0xFFFD;

// What becomes of invalid Unicode. Both policies decode each malformed byte to U+FFFD.
enum class Policy {
    replacing,  // a lone surrogate becomes U+FFFD: the output is always valid UTF-8
    lossless,   // every wchar_t is encoded, lone surrogates and numbers beyond Unicode too (WTF-8 and the
                // original seven-byte UTF-8), so that decoding restores it
};

struct Decoded {
    char32_t c;          // a code point; the unit itself if malformed
    std::size_t length;  // units consumed, at least 1
    bool valid;
};

// `at` must be inside the text. Malformed text is consumed one unit at a time.
Decoded decode(std::string_view utf8, std::size_t at, Policy policy = Policy::replacing) noexcept;
Decoded decode(std::wstring_view wide, std::size_t at) noexcept;

std::size_t encodedSize(std::wstring_view wide, Policy policy) noexcept;  // in bytes
char* encode(std::wstring_view wide, char* to, Policy policy) noexcept;   // writes encodedSize bytes; the end
std::wstring decodeAll(std::string_view utf8, Policy policy);

char32_t fold(char32_t c) noexcept;  // simple case folding
// Where `what` begins in the text without regard to case, or npos.
std::size_t findFolded(std::wstring_view text, std::wstring_view what, std::size_t from) noexcept;

}  // namespace CORE::unicode
