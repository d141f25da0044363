#include "framework/core/format.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>

#include "framework/core/ascii.h"
#include "framework/core/corestring.h"

namespace CORE {
namespace {

// A field wider than that is a mistake in a format or an argument; it must not cost memory.
constexpr std::size_t widest = 1024;

// One conversion of a format: %[flags][width][.precision][size]letter
struct Conversion {
    bool left = false;
    bool plus = false;
    bool blank = false;
    bool alternate = false;
    bool zeros = false;
    std::size_t width = 0;
    std::optional<std::size_t> precision;
    unsigned halves = 0;  // "h" once or twice: the integer is cut to a short or a byte
    wchar_t letter = 0;
};

// The arguments in order; nothing when they are used up.
class Arguments {
  public:
    explicit Arguments(std::span<const FormatArg> args) : args_(args) {}
    const FormatArg* next() { return at_ < args_.size() ? &args_[at_++] : nullptr; }

  private:
    std::span<const FormatArg> args_;
    std::size_t at_ = 0;
};

bool isInteger(const FormatArg& arg) {
    return arg.kind() == FormatArg::Kind::signedInteger || arg.kind() == FormatArg::Kind::unsignedInteger;
}

// Reads what stands behind the percent sign.
class ConversionReader {
  public:
    ConversionReader(std::wstring_view format, std::size_t at, Arguments& args)
        : format_(format), at_(at), args_(args) {}

    std::optional<Conversion> read() {
        readFlags();
        if (!readWidth() || !readPrecision()) return std::nullopt;
        readSize();
        if (at_ >= format_.size()) return std::nullopt;
        conversion_.letter = format_[at_++];
        return conversion_;
    }
    std::size_t end() const { return at_; }

  private:
    wchar_t peek() const { return at_ < format_.size() ? format_[at_] : L'\0'; }
    bool take(wchar_t c) {
        if (at_ >= format_.size() || format_[at_] != c) return false;
        ++at_;
        return true;
    }

    void readFlags() {
        for (;; ++at_) switch (peek()) {
                case L'-':
                    conversion_.left = true;
                    break;
                case L'+':
                    conversion_.plus = true;
                    break;
                case L' ':
                    conversion_.blank = true;
                    break;
                case L'#':
                    conversion_.alternate = true;
                    break;
                case L'0':
                    conversion_.zeros = true;
                    break;
                default:
                    return;
            }
    }

    std::size_t readDigits() {
        std::size_t number = 0;
        for (; peek() >= L'0' && peek() <= L'9'; ++at_)
            number = std::min(widest, number * 10 + static_cast<std::size_t>(peek() - L'0'));
        return number;
    }

    // An asterisk's argument; one that is no integer counts as 0. False when there is none.
    bool readStar(std::int64_t& number) {
        const FormatArg* arg = args_.next();
        if (!arg) return false;
        number = isInteger(*arg) ? static_cast<std::int64_t>(arg->integer()) : 0;
        return true;
    }

    bool readWidth() {
        if (!take(L'*')) {
            conversion_.width = readDigits();
            return true;
        }
        std::int64_t number = 0;
        if (!readStar(number)) return false;
        if (number < 0) conversion_.left = true;
        conversion_.width = bounded(number);
        return true;
    }

    bool readPrecision() {
        if (!take(L'.')) return true;
        if (!take(L'*')) {
            conversion_.precision = readDigits();
            return true;
        }
        std::int64_t number = 0;
        if (!readStar(number)) return false;
        if (number >= 0) conversion_.precision = bounded(number);
        return true;
    }

    static std::size_t bounded(std::int64_t number) {
        const auto bits = static_cast<std::uint64_t>(number);
        return static_cast<std::size_t>(std::min<std::uint64_t>(widest, number < 0 ? 0 - bits : bits));
    }

    // Sizes are the arguments' own; only "h" says something, and I is a size before 32, 64 or a letter.
    void readSize() {
        for (;;) {
            if (take(L'h')) {
                ++conversion_.halves;
            } else if (take(L'I')) {
                if (format_.substr(at_, 2) == L"64" || format_.substr(at_, 2) == L"32") at_ += 2;
            } else if (!(take(L'l') || take(L'w') || take(L'z') || take(L'j') || take(L't') || take(L'L'))) {
                return;
            }
        }
    }

    std::wstring_view format_;
    std::size_t at_;
    Arguments& args_;
    Conversion conversion_;
};

void appendField(std::wstring& out, const Conversion& how, std::wstring_view text) {
    const std::size_t blanks = how.width > text.size() ? how.width - text.size() : 0;
    if (!how.left) out.append(blanks, L' ');
    out.append(text);
    if (how.left) out.append(blanks, L' ');
}

// A number: its sign or prefix, and its digits. Zeros go between the two.
void appendNumber(std::wstring& out, const Conversion& how, std::string_view prefix, std::string_view digits,
                  bool padWithZeros) {
    const std::size_t size = prefix.size() + digits.size();
    const std::size_t zeros = padWithZeros && !how.left && how.width > size ? how.width - size : 0;
    std::wstring text(prefix.begin(), prefix.end());
    text.append(zeros, L'0');
    text.append(digits.begin(), digits.end());
    appendField(out, how, text);
}

std::string_view signOf(const Conversion& how, bool negative) {
    if (negative) return "-";
    return how.plus ? "+" : how.blank ? " " : "";
}

// The argument's bits at its own size: the letter says how they are read, as printf has it.
std::uint64_t bitsOf(const Conversion& how, const FormatArg& arg, std::size_t& bytes) {
    bytes = arg.bytes();
    if (how.halves > 0) bytes = std::min<std::size_t>(bytes, how.halves == 1 ? 2 : 1);
    return bytes >= 8 ? arg.integer() : arg.integer() & ((std::uint64_t{1} << (bytes * 8)) - 1);
}

void appendInteger(std::wstring& out, const Conversion& how, const FormatArg& arg) {
    std::size_t bytes = 0;
    std::uint64_t value = bitsOf(how, arg, bytes);
    const bool asSigned = how.letter == L'd' || how.letter == L'i';
    const bool negative = asSigned && ((value >> (bytes * 8 - 1)) & 1) != 0;
    if (negative) value = bytes >= 8 ? 0 - value : (std::uint64_t{1} << (bytes * 8)) - value;

    const bool hex = how.letter == L'x' || how.letter == L'X';
    std::array<char, 24> buffer{};
    const int base = hex ? 16 : how.letter == L'o' ? 8 : 10;
    char* end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, base).ptr;
    std::string digits(buffer.data(), end);
    if (how.precision == std::size_t{0} && value == 0) digits.clear();
    if (how.precision && digits.size() < *how.precision)
        digits.insert(0, *how.precision - digits.size(), '0');
    if (how.alternate && base == 8 && (digits.empty() || digits.front() != '0')) digits.insert(0, 1, '0');

    std::string prefix(asSigned ? signOf(how, negative) : std::string_view());
    if (how.alternate && hex && value != 0) prefix = "0x";
    if (how.letter == L'X') {
        digits = asciiUpper(std::move(digits));
        prefix = asciiUpper(std::move(prefix));
    }
    appendNumber(out, how, prefix, digits, how.zeros && !how.precision);
}

void appendFloating(std::wstring& out, const Conversion& how, double value) {
    const auto letter = static_cast<wchar_t>(how.letter | 0x20);
    const auto style = letter == L'f'   ? std::chars_format::fixed
                       : letter == L'e' ? std::chars_format::scientific
                                        : std::chars_format::general;
    // The longest: 309 digits before the point, the precision's after it.
    std::array<char, 400 + widest> buffer{};
    const int precision = static_cast<int>(how.precision.value_or(6));
    char* end =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), std::fabs(value), style, precision).ptr;
    std::string digits(buffer.data(), end);
    if (how.letter != letter) digits = asciiUpper(std::move(digits));
    appendNumber(out, how, signOf(how, std::signbit(value)), digits, how.zeros && std::isfinite(value));
}

void appendPointer(std::wstring& out, const Conversion& how, std::uint64_t value) {
    Conversion hex = how;
    hex.letter = L'X';
    hex.alternate = false;
    hex.halves = 0;
    hex.precision = sizeof(void*) * 2;
    appendInteger(out, hex, FormatArg(value));
}

void appendCharacter(std::wstring& out, const Conversion& how, const FormatArg& arg) {
    std::size_t bytes = 0;
    const std::uint64_t code = bitsOf(Conversion{}, arg, bytes);
    std::wstring text;
    if (sizeof(wchar_t) == 2 && code > 0xFFFF && code <= 0x10FFFF) {
        text.push_back(static_cast<wchar_t>(0xD800 + ((code - 0x10000) >> 10)));
        text.push_back(static_cast<wchar_t>(0xDC00 + ((code - 0x10000) & 0x3FF)));
    } else {
        const bool surrogate = sizeof(wchar_t) == 4 && code >= 0xD800 && code <= 0xDFFF;
        text.push_back(static_cast<wchar_t>(code > 0x10FFFF || surrogate ? 0xFFFD : code));
    }
    appendField(out, how, text);
}

void appendText(std::wstring& out, const Conversion& how, std::wstring_view text) {
    const bool cut = how.letter == L's' || how.letter == L'S';
    appendField(out, how, cut && how.precision ? text.substr(0, *how.precision) : text);
}

// What a letter makes of a number, or of nothing that it fits: the argument's own plainest form.
Conversion plain(const Conversion& how, wchar_t letter) {
    Conversion result;
    result.left = how.left;
    result.width = how.width;
    result.letter = letter;
    return result;
}

void appendIntegerAs(std::wstring& out, const Conversion& how, const FormatArg& arg) {
    const bool isSigned = arg.kind() == FormatArg::Kind::signedInteger;
    switch (how.letter) {
        case L'c':
        case L'C':
            return appendCharacter(out, how, arg);
        case L'p':
            return appendPointer(out, how, arg.integer());
        case L's':
        case L'S':
            return appendInteger(out, plain(how, isSigned ? L'd' : L'u'), arg);
        case L'f':
        case L'F':
        case L'e':
        case L'E':
        case L'g':
        case L'G':
            return appendFloating(out, how,
                                  isSigned ? static_cast<double>(static_cast<std::int64_t>(arg.integer()))
                                           : static_cast<double>(arg.integer()));
        default:
            return appendInteger(out, how, arg);
    }
}

void appendArgument(std::wstring& out, const Conversion& how, const FormatArg& arg) {
    static constexpr std::wstring_view floatLetters = L"fFeEgG";
    static constexpr std::wstring_view integerLetters = L"diuxXo";
    switch (arg.kind()) {
        case FormatArg::Kind::none:
            return appendText(out, how, {});
        case FormatArg::Kind::wide:
            return appendText(out, how, arg.wide());
        case FormatArg::Kind::narrow:
            return appendText(out, how, toWide(arg.narrow()));
        case FormatArg::Kind::floating:
            if (floatLetters.find(how.letter) != std::wstring_view::npos)
                return appendFloating(out, how, arg.floating());
            return appendFloating(out, plain(how, L'g'), arg.floating());
        case FormatArg::Kind::pointer:
            if (integerLetters.find(how.letter) != std::wstring_view::npos)
                return appendInteger(out, how, arg);
            return appendPointer(out, plain(how, L'p'), arg.integer());
        default:
            return appendIntegerAs(out, how, arg);
    }
}

bool known(wchar_t letter) {
    return std::wstring_view(L"sSdiuxXocCpfFeEgG").find(letter) != std::wstring_view::npos;
}

}  // namespace

std::wstring formatText(std::wstring_view format, std::span<const FormatArg> list) {
    std::wstring out;
    out.reserve(format.size() + list.size() * 16);
    Arguments args(list);
    for (std::size_t at = 0; at < format.size();) {
        const std::size_t percent = std::min(format.find(L'%', at), format.size());
        out.append(format, at, percent - at);
        if (percent == format.size()) break;
        if (format.substr(percent, 2) == L"%%") {
            out.push_back(L'%');
            at = percent + 2;
            continue;
        }
        ConversionReader reader(format, percent + 1, args);
        const std::optional<Conversion> how = reader.read();
        const FormatArg* arg = how && known(how->letter) ? args.next() : nullptr;
        if (arg) appendArgument(out, *how, *arg);
        // What is no conversion, or has no argument, prints itself.
        if (!arg) out.push_back(L'%');
        at = arg ? reader.end() : percent + 1;
    }
    return out;
}

}  // namespace CORE
