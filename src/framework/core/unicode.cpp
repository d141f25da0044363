#include "framework/core/unicode.h"

#include <openssl/crypto.h>

#include "framework/core/corestring.h"
#include "framework/core/system.h"

namespace CORE::unicode {
namespace {

constexpr bool wideIsUtf16 = sizeof(wchar_t) == 2;

// wchar_t is signed on some platforms; a unit is not.
char32_t unit(wchar_t c) noexcept {
    return static_cast<char32_t>(c) & (wideIsUtf16 ? 0xFFFFU : 0xFFFFFFFFU);
}
char32_t unit(char c) noexcept {
    return static_cast<unsigned char>(c);
}

char32_t foldAscii(char32_t c) noexcept {
    return c >= 'a' && c <= 'z' ? c - ('a' - 'A') : c;
}

char32_t notText(char32_t value) noexcept {
    return beyond + value;
}

// How many bytes a sequence with this first byte has, and the least code point that needs so many.
struct Lead {
    std::size_t length;
    char32_t bits;
    char32_t least;
};

Lead lead(unsigned char first) noexcept {
    if (first >= 0xC2 && first <= 0xDF) return {2, first & 0x1FU, 0x80};
    if (first >= 0xE0 && first <= 0xEF) return {3, first & 0x0FU, 0x800};
    if (first >= 0xF0 && first <= 0xF4) return {4, first & 0x07U, 0x10000};
    return {0, 0, 0};
}

// Whether the text from there on begins with `what`, without regard to case.
template <class View>
bool beginsFolded(View text, std::size_t at, View what) noexcept {
    for (std::size_t i = 0; i < what.size();) {
        if (at >= text.size()) return false;
        const Decoded a = decode(text, at);
        const Decoded b = decode(what, i);
        if (a.c != b.c && fold(a.c) != fold(b.c)) return false;
        at += a.length;
        i += b.length;
    }
    return true;
}

template <class View>
std::size_t find(View text, View what, std::size_t from) noexcept {
    if (from > text.size()) return View::npos;
    if (what.empty()) return from;
    for (std::size_t at = from; at < text.size(); at += decode(text, at).length)
        if (beginsFolded(text, at, what)) return at;
    return View::npos;
}

template <class View>
int compare(View a, View b) noexcept {
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if ((unit(a[i]) | unit(b[j])) < 0x80) {  // most text, and nothing to decode
            const char32_t x = foldAscii(unit(a[i++]));
            const char32_t y = foldAscii(unit(b[j++]));
            if (x != y) return x < y ? -1 : 1;
            continue;
        }
        const Decoded left = decode(a, i);
        const Decoded right = decode(b, j);
        if (left.c != right.c) {
            const char32_t x = fold(left.c);
            const char32_t y = fold(right.c);
            if (x != y) return x < y ? -1 : 1;
        }
        i += left.length;
        j += right.length;
    }
    if (i < a.size()) return 1;
    return j < b.size() ? -1 : 0;
}

wchar_t* putWide(wchar_t* to, char32_t c) noexcept {
    if (wideIsUtf16 && c >= 0x10000) {
        *to++ = static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10));
        *to++ = static_cast<wchar_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
        *to++ = static_cast<wchar_t>(c);
    }
    return to;
}

std::size_t utf8Length(char32_t c) noexcept {
    return c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
}

char* putUtf8(char* to, char32_t c) noexcept {
    static constexpr unsigned marks[] = {0, 0, 0xC0, 0xE0, 0xF0};
    const std::size_t length = utf8Length(c);
    for (std::size_t i = length - 1; i > 0; --i, c >>= 6) to[i] = static_cast<char>(0x80 | (c & 0x3F));
    to[0] = static_cast<char>(marks[length] | c);
    return to + length;
}

char32_t orReplacement(const Decoded& decoded) noexcept {
    return decoded.valid() ? decoded.c : replacement;
}

}  // namespace

Decoded decode(std::string_view utf8, std::size_t at) noexcept {
    const auto first = static_cast<unsigned char>(utf8[at]);
    if (first < 0x80) return {first, 1};
    const Lead shape = lead(first);
    if (shape.length == 0 || at + shape.length > utf8.size()) return {notText(first), 1};
    char32_t c = shape.bits;
    for (std::size_t i = 1; i < shape.length; ++i) {
        const auto next = static_cast<unsigned char>(utf8[at + i]);
        if ((next & 0xC0) != 0x80) return {notText(first), 1};
        c = (c << 6) | (next & 0x3FU);
    }
    if (c < shape.least || c > 0x10FFFF || isSurrogate(c)) return {notText(first), 1};
    return {c, shape.length};
}

Decoded decode(std::wstring_view wide, std::size_t at) noexcept {
    const char32_t c = unit(wide[at]);
    if (!isSurrogate(c)) return {c, 1};
    if (wideIsUtf16 && c < 0xDC00 && at + 1 < wide.size()) {
        const char32_t low = unit(wide[at + 1]);
        if (low >= 0xDC00 && low <= 0xDFFF) return {0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00), 2};
    }
    return {notText(c), 1};
}

char32_t fold(char32_t c) noexcept {
    if (c < 0x80) return foldAscii(c);
    // Outside the basic plane nothing folds: so do the directory and the file system.
    return c < 0x10000 ? static_cast<char32_t>(foldCase(static_cast<wchar_t>(c))) & 0xFFFFU : c;
}

std::size_t findFolded(std::string_view text, std::string_view what, std::size_t from) noexcept {
    return find(text, what, from);
}
std::size_t findFolded(std::wstring_view text, std::wstring_view what, std::size_t from) noexcept {
    return find(text, what, from);
}

}  // namespace CORE::unicode

namespace CORE {

using unicode::decode;
using unicode::Decoded;

std::wstring toWide(std::string_view utf8) {
    std::wstring out(utf8.size(), L'\0');  // no sequence becomes more units than it has bytes
    wchar_t* to = out.data();
    for (std::size_t at = 0; at < utf8.size();) {
        const char32_t first = unicode::unit(utf8[at]);
        if (first < 0x80) {
            *to++ = static_cast<wchar_t>(first);
            ++at;
            continue;
        }
        const Decoded next = decode(utf8, at);
        to = unicode::putWide(to, unicode::orReplacement(next));
        at += next.length;
    }
    out.resize(static_cast<std::size_t>(to - out.data()));
    return out;
}

std::string toUtf8(std::wstring_view wide) {
    std::size_t atMost = 0;
    for (const wchar_t c : wide) atMost += unicode::utf8Length(unicode::unit(c));
    std::string out(atMost, '\0');
    char* to = out.data();
    for (std::size_t at = 0; at < wide.size();) {
        const char32_t first = unicode::unit(wide[at]);
        if (first < 0x80) {
            *to++ = static_cast<char>(first);
            ++at;
            continue;
        }
        const Decoded next = decode(wide, at);
        to = unicode::putUtf8(to, unicode::orReplacement(next));
        at += next.length;
    }
    out.resize(static_cast<std::size_t>(to - out.data()));
    return out;
}

bool isValidUtf8(std::string_view text) noexcept {
    for (std::size_t at = 0; at < text.size();) {
        if (unicode::unit(text[at]) < 0x80) {
            ++at;
            continue;
        }
        const Decoded next = decode(text, at);
        if (!next.valid()) return false;
        at += next.length;
    }
    return true;
}

wchar_t foldCase(wchar_t c) noexcept {
    const char32_t code = unicode::unit(c);
    if (code < 0x80) return static_cast<wchar_t>(unicode::foldAscii(code));
    if (code > 0xFFFF || unicode::isSurrogate(code)) return c;
    // Pairs only, as the directory and the file system fold: final sigma, dotless i, long s and the like have
    // no way back and stay. So no look-alike meets a name in ASCII either.
    const wchar_t upper = sys::upperCase(c);
    return sys::lowerCase(upper) == c ? upper : c;
}

wchar_t lowerCase(wchar_t c) noexcept {
    const char32_t code = unicode::unit(c);
    if (code < 0x80) return code >= 'A' && code <= 'Z' ? static_cast<wchar_t>(code + ('a' - 'A')) : c;
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

void wipeMemory(void* data, std::size_t bytes) noexcept {
    OPENSSL_cleanse(data, bytes);
}

}  // namespace CORE
