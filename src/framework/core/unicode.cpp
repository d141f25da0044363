#include "framework/core/unicode.h"

#include <openssl/crypto.h>

#include <array>
#include <cstdint>
#include <type_traits>

#include "framework/core/ascii.h"
#include "framework/core/corestring.h"
#include "framework/core/system.h"

namespace CORE::unicode {
namespace {

constexpr bool wideIsUtf16 = sizeof(wchar_t) == 2;
constexpr char32_t lastCodePoint = 0x10FFFF;

// The code unit as an unsigned number: char and wchar_t are signed on some platforms.
template <class Ch>
constexpr char32_t unit(Ch c) noexcept {
    return static_cast<std::make_unsigned_t<Ch>>(c);
}

constexpr bool isSurrogate(char32_t c) noexcept {
    return c >= 0xD800 && c <= 0xDFFF;
}
constexpr bool isCodePoint(char32_t c) noexcept {
    return c <= lastCodePoint && !isSurrogate(c);
}

// The number of bytes that encode c: 7 bits fit into one byte, 11 into two, and five more into each further
// one.
std::size_t encodedLength(char32_t c) noexcept {
    if (c < 0x80) return 1;
    std::size_t length = 2;
    while (length < 7 && (std::uint64_t{c} >> (5 * length + 1)) != 0) ++length;
    return length;
}

char* put(char* to, char32_t c) noexcept {
    if (c < 0x80) {
        *to = static_cast<char>(c);
        return to + 1;
    }
    const std::size_t length = encodedLength(c);
    for (std::size_t i = length; --i > 0; c >>= 6) to[i] = static_cast<char>(0x80 | (c & 0x3F));
    to[0] = static_cast<char>(((0xFF00U >> length) & 0xFF) | c);
    return to + length;
}

void put(std::wstring& to, char32_t c) {
    if (!wideIsUtf16 || c <= 0xFFFF) {
        to.push_back(static_cast<wchar_t>(c));
    } else if (c <= lastCodePoint) {
        to.push_back(static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10)));
        to.push_back(static_cast<wchar_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
    } else {
        to.push_back(static_cast<wchar_t>(replacement));
    }
}

// Calls `each` with every code point of the text, as the policy says.
template <class Each>
void forEach(std::wstring_view wide, Policy policy, Each&& each) {
    for (std::size_t at = 0; at < wide.size();) {
        const Decoded next = decode(wide, at);
        each(next.valid || policy == Policy::lossless ? next.c : replacement);
        at += next.length;
    }
}

// The sort key of a code point; malformed units sort after all code points.
std::uint64_t orderOf(const Decoded& decoded) noexcept {
    return decoded.valid ? fold(decoded.c) : std::uint64_t{1} << 32 | decoded.c;
}

template <class View>
int compare(View a, View b) noexcept {
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        const Decoded left = decode(a, i);
        const Decoded right = decode(b, j);
        if (left.c != right.c || left.valid != right.valid) {
            const std::uint64_t x = orderOf(left);
            const std::uint64_t y = orderOf(right);
            if (x != y) return x < y ? -1 : 1;
        }
        i += left.length;
        j += right.length;
    }
    if (i < a.size()) return 1;
    return j < b.size() ? -1 : 0;
}

}  // namespace

Decoded decode(std::string_view utf8, std::size_t at, Policy policy) noexcept {
    const char32_t first = unit(utf8[at]);
    if (first < 0x80) return {first, 1, true};
    const Decoded malformed{first, 1, false};
    std::size_t length = 0;  // the number of leading ones of the first byte
    while (length < 8 && (first & (0x80U >> length)) != 0) ++length;
    const std::size_t longest = policy == Policy::lossless ? 7 : 4;
    if (length < 2 || length > longest || length > utf8.size() - at) return malformed;
    std::uint64_t number = first & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const char32_t next = unit(utf8[at + i]);
        if ((next & 0xC0) != 0x80) return malformed;
        number = number << 6 | (next & 0x3F);
    }
    const auto c = static_cast<char32_t>(number);
    if (c != number || encodedLength(c) != length) return malformed;  // overlong
    if (policy == Policy::replacing && !isCodePoint(c)) return malformed;
    return {c, length, true};
}

Decoded decode(std::wstring_view wide, std::size_t at) noexcept {
    const char32_t c = unit(wide[at]);
    if (wideIsUtf16 && c >= 0xD800 && c < 0xDC00 && at + 1 < wide.size()) {
        const char32_t low = unit(wide[at + 1]);
        if (low >= 0xDC00 && low <= 0xDFFF) return {0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00), 2, true};
    }
    return {c, 1, isCodePoint(c)};
}

std::size_t encodedSize(std::wstring_view wide, Policy policy) noexcept {
    std::size_t size = asciiPrefix(wide);
    forEach(wide.substr(size), policy, [&size](char32_t c) { size += encodedLength(c); });
    return size;
}

char* encode(std::wstring_view wide, char* to, Policy policy) noexcept {
    const std::size_t ascii = asciiPrefix(wide);
    for (std::size_t i = 0; i < ascii; ++i) to[i] = static_cast<char>(wide[i]);
    to += ascii;
    forEach(wide.substr(ascii), policy, [&to](char32_t c) { to = put(to, c); });
    return to;
}

std::wstring decodeAll(std::string_view utf8, Policy policy) {
    const std::size_t ascii = asciiPrefix(utf8);
    std::wstring wide(utf8.begin(), utf8.begin() + static_cast<std::ptrdiff_t>(ascii));
    if (ascii == utf8.size()) return wide;
    wide.reserve(utf8.size());  // no character has more units than bytes
    for (std::size_t at = ascii; at < utf8.size();) {
        const Decoded next = decode(utf8, at, policy);
        put(wide, next.valid ? next.c : replacement);
        at += next.length;
    }
    return wide;
}

char32_t fold(char32_t c) noexcept {
    if (c < 0x80) return asciiUpper(c);
    // Outside the basic plane nothing is folded, as in the directory and the file system.
    return c < 0x10000 ? unit(foldCase(static_cast<wchar_t>(c))) : c;
}

std::size_t findFolded(std::wstring_view text, std::wstring_view what, std::size_t from) noexcept {
    for (std::size_t at = from; at <= text.size() && what.size() <= text.size() - at;
         at += decode(text, at).length)
        if (compare(text.substr(at, what.size()), what) == 0) return at;
    return std::wstring_view::npos;
}

}  // namespace CORE::unicode

namespace CORE {

std::wstring toWide(std::string_view utf8) {
    return unicode::decodeAll(utf8, unicode::Policy::replacing);
}

std::string toUtf8(std::wstring_view wide) {
    std::string out(unicode::encodedSize(wide, unicode::Policy::replacing), '\0');
    unicode::encode(wide, out.data(), unicode::Policy::replacing);
    return out;
}

bool isValidUtf8(std::string_view text) noexcept {
    for (std::size_t at = asciiPrefix(text); at < text.size();) {
        const unicode::Decoded next = unicode::decode(text, at);
        if (!next.valid) return false;
        at += next.length;
    }
    return true;
}

wchar_t foldCase(wchar_t c) noexcept {
    const char32_t code = unicode::unit(c);
    if (code < 0x80) return asciiUpper(c);
    if (code > 0xFFFF || unicode::isSurrogate(code)) return c;
    // Only reversible mappings, as in the directory and the file system: final sigma, dotless i and long s
    // are not folded. So no other character becomes equal to an ASCII letter.
    const wchar_t upper = sys::upperCase(c);
    return sys::lowerCase(upper) == c ? upper : c;
}

wchar_t lowerCase(wchar_t c) noexcept {
    const char32_t code = unicode::unit(c);
    if (code < 0x80) return asciiLower(c);
    if (code > 0xFFFF || unicode::isSurrogate(code)) return c;
    const wchar_t lower = sys::lowerCase(c);
    return unicode::unit(lower) < 0x80 ? c : lower;
}

int compareFolded(std::wstring_view a, std::wstring_view b) noexcept {
    return unicode::compare(a, b);
}
int compareFolded(std::string_view a, std::string_view b) noexcept {
    return unicode::compare(a, b);
}

std::string foldText(std::string_view utf8) {
    if (isAscii(utf8) || !isValidUtf8(utf8)) return asciiLower(std::string(utf8));
    std::wstring wide = toWide(utf8);
    for (wchar_t& c : wide) c = foldCase(c);
    return toUtf8(wide);
}

void wipeMemory(void* data, std::size_t bytes) noexcept {
    OPENSSL_cleanse(data, bytes);
}

}  // namespace CORE
