#include "framework/core/format.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

#include "framework/core/ascii.h"
#include "framework/core/corestring.h"

namespace CORE {
namespace {

// Limits the memory that a mistaken width costs.
constexpr std::size_t widest = 1024;

// One conversion of a format: %[flags][width][size]letter
struct Conversion {
    bool left = false;
    bool zeros = false;
    std::size_t width = 0;
    wchar_t letter = 0;
};

bool isOneOf(wchar_t c, std::wstring_view characters) {
    return characters.find(c) != std::wstring_view::npos;
}

// Reads a conversion after its percent sign and moves `at` past it; nothing when there is none.
std::optional<Conversion> readConversion(std::wstring_view format, std::size_t& at) {
    const auto peek = [&] { return at < format.size() ? format[at] : L'\0'; };
    Conversion how;
    for (; peek() == L'-' || peek() == L'0'; ++at) (peek() == L'-' ? how.left : how.zeros) = true;
    for (; isAsciiDigit(peek()); ++at)
        how.width = std::min(widest, how.width * 10 + static_cast<std::size_t>(peek() - L'0'));
    while (peek() != L'\0' && isOneOf(peek(), L"hlw")) ++at;  // size modifiers
    if (peek() == L'\0' || !isOneOf(peek(), L"sSduxXcp")) return std::nullopt;
    how.letter = format[at++];
    return how;
}

void appendField(std::wstring& out, const Conversion& how, std::wstring_view text) {
    const std::size_t blanks = how.width > text.size() ? how.width - text.size() : 0;
    if (!how.left) out.append(blanks, L' ');
    out.append(text);
    if (how.left) out.append(blanks, L' ');
}

// The letter decides how the argument's bits are interpreted, the argument's type how many there are.
void appendInteger(std::wstring& out, const Conversion& how, const FormatArg& arg) {
    const std::size_t bits = arg.bytes() * 8;
    const std::uint64_t mask = ~std::uint64_t{0} >> (64 - bits);
    std::uint64_t value = arg.integer() & mask;
    const bool negative = how.letter == L'd' && value >> (bits - 1) != 0;
    if (negative) value = (0 - value) & mask;

    std::array<char, 24> buffer{};
    const int base = isOneOf(how.letter, L"xXp") ? 16 : 10;
    const std::string_view digits(
        buffer.data(), std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, base).ptr);
    std::wstring text(negative ? L"-" : L"");
    const std::size_t wanted = how.letter == L'p'       ? sizeof(void*) * 2
                               : how.zeros && !how.left ? how.width
                                                        : 0;
    if (const std::size_t size = text.size() + digits.size(); size < wanted) text.append(wanted - size, L'0');
    for (const char digit : digits)
        text.push_back(static_cast<wchar_t>(how.letter == L'x' ? digit : asciiUpper(digit)));
    appendField(out, how, text);
}

// The conversion for an argument that does not fit the letter: the argument's default form.
Conversion plain(const Conversion& how, wchar_t letter) {
    return {.left = how.left, .width = how.width, .letter = letter};
}

void appendArgument(std::wstring& out, const Conversion& how, const FormatArg& arg) {
    const bool asText = isOneOf(how.letter, L"sS");
    switch (arg.kind()) {
        case FormatArg::Kind::wide:
            return appendField(out, how, arg.wide());
        case FormatArg::Kind::narrow:
            return appendField(out, how, toWide(arg.narrow()));
        case FormatArg::Kind::pointer:
            return appendInteger(out, asText || how.letter == L'c' ? plain(how, L'p') : how, arg);
        default:
            break;
    }
    if (how.letter == L'c')
        return appendField(out, how, std::wstring(1, static_cast<wchar_t>(arg.integer())));
    const bool isSigned = arg.kind() == FormatArg::Kind::signedInteger;
    appendInteger(out, asText ? plain(how, isSigned ? L'd' : L'u') : how, arg);
}

}  // namespace

std::wstring formatText(std::wstring_view format, std::span<const FormatArg> args) {
    std::wstring out;
    out.reserve(format.size() + args.size() * 16);
    for (std::size_t at = 0; at < format.size();) {
        const std::size_t percent = std::min(format.find(L'%', at), format.size());
        out.append(format, at, percent - at);
        at = percent + 1;
        if (percent == format.size()) break;
        std::size_t end = at;
        const auto how = readConversion(format, end);
        if (how && !args.empty()) {
            appendArgument(out, *how, args.front());
            args = args.subspan(1);
            at = end;
        } else {  // no conversion, or one without an argument, prints itself
            out.push_back(L'%');
            if (format.substr(at, 1) == L"%") ++at;
        }
    }
    return out;
}

}  // namespace CORE
