#include "platform/lab/syntax.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

#include "framework/core/ascii.h"
#include "platform/ldap/sid.h"

namespace wsadmin::platform::lab {

namespace {

constexpr std::array<std::string_view, 9> syntaxNames = {"string", "int",    "int64", "bool", "time",
                                                         "dn",     "octets", "sid",   "guid"};

template <class Number>
std::optional<Number> number(std::string_view text, int base = 10) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return value;
}

int sign(int order) {
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

// The order in which a GUID's bytes stand in its text: the first three groups are little-endian numbers.
constexpr std::array<std::size_t, 16> guidOrder = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};

std::optional<std::string> storedSid(std::string_view value) {
    if (const auto sid = Sid::parse(value)) return sid->bytes();
    if (!Sid::fromBytes(value)) return std::nullopt;
    return std::string(value);
}

std::optional<std::string> storedGuid(std::string_view value) {
    if (value.size() == 16) return std::string(value);
    return guidFromText(value);
}

}  // namespace

std::optional<Syntax> syntaxOfName(std::string_view name) {
    const auto found = std::find(syntaxNames.begin(), syntaxNames.end(), name);
    if (found == syntaxNames.end()) return std::nullopt;
    return static_cast<Syntax>(found - syntaxNames.begin());
}

std::string_view syntaxName(Syntax syntax) {
    return syntaxNames[static_cast<std::size_t>(syntax)];
}

bool equalFolded(std::string_view a, std::string_view folded) {
    return CORE::isAscii(a) ? CORE::equalAscii(a, folded) : foldText(a) == folded;
}

std::wstring inQuotes(std::string_view text) {
    return L"\"" + CORE::toWide(text) + L"\"";
}

std::optional<std::string> storedValue(Syntax syntax, std::string_view value) {
    switch (syntax) {
        case Syntax::integer:
        case Syntax::largeInteger: {
            const auto parsed = number<std::int64_t>(value);
            if (!parsed) return std::nullopt;
            return std::to_string(*parsed);
        }
        case Syntax::boolean:
            if (equalFolded(value, "true")) return "TRUE";
            if (equalFolded(value, "false")) return "FALSE";
            return std::nullopt;
        case Syntax::time: {
            const auto time = timeFromText(value);
            if (!time) return std::nullopt;
            return timeToText(*time);
        }
        case Syntax::sid:
            return storedSid(value);
        case Syntax::guid:
            return storedGuid(value);
        case Syntax::text:
        case Syntax::dn:
        case Syntax::octets:
            break;
    }
    return std::string(value);
}

bool sameValue(Syntax syntax, std::string_view stored, std::string_view key) {
    return syntax == Syntax::text ? equalFolded(stored, key) : stored == key;
}

int compareValues(Syntax syntax, std::string_view stored, std::string_view key) {
    if (syntax == Syntax::integer || syntax == Syntax::largeInteger) {
        const auto a = number<std::int64_t>(stored).value_or(0);
        const auto b = number<std::int64_t>(key).value_or(0);
        return a < b ? -1 : a > b ? 1 : 0;
    }
    if (syntax == Syntax::text) return sign(foldText(stored).compare(key));
    return sign(stored.compare(key));
}

std::string matchKey(Syntax syntax, std::string_view stored) {
    return syntax == Syntax::text ? foldText(stored) : std::string(stored);
}

std::string readableValue(Syntax syntax, std::string_view stored) {
    if (syntax == Syntax::sid) {
        const auto sid = Sid::fromBytes(stored);
        return sid ? sid->text() : std::string();
    }
    if (syntax == Syntax::guid) return guidToText(stored);
    return std::string(stored);
}

std::optional<std::string> guidFromText(std::string_view text) {
    if (text.size() == 38 && text.front() == '{' && text.back() == '}') text = text.substr(1, 36);
    if (text.size() != 36) return std::nullopt;
    std::string digits;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        if (dash != (text[i] == '-')) return std::nullopt;
        if (!dash) digits += text[i];
    }
    std::string binary(16, '\0');
    for (std::size_t i = 0; i < 16; ++i) {
        const auto byte = number<std::uint8_t>(std::string_view(digits).substr(2 * i, 2), 16);
        if (!byte) return std::nullopt;
        binary[guidOrder[i]] = static_cast<char>(*byte);
    }
    return binary;
}

std::string guidToText(std::string_view binary) {
    if (binary.size() != 16) return {};
    std::string text;
    for (std::size_t i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        constexpr char hex[] = "0123456789abcdef";
        const auto byte = static_cast<unsigned char>(binary[guidOrder[i]]);
        text += {hex[byte >> 4], hex[byte & 15]};
    }
    return text;
}

std::string timeToText(Seconds time) {
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(time - day);
    char text[40];
    std::snprintf(text, sizeof text, "%04d%02u%02u%02d%02d%02d.0Z", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text;
}

std::optional<Seconds> timeFromText(std::string_view text) {
    if (text.size() < 17 || text.back() != 'Z' || text[14] != '.') return std::nullopt;
    const auto fraction = text.substr(15, text.size() - 16);  // is dropped, but must be there, as for AD
    if (fraction.find_first_not_of("0123456789") != fraction.npos) return std::nullopt;
    const auto part = [&](std::size_t at, std::size_t length) {
        return number<unsigned>(text.substr(at, length));
    };
    const auto year = part(0, 4), month = part(4, 2), day = part(6, 2);
    const auto hour = part(8, 2), minute = part(10, 2), second = part(12, 2);
    if (!year || !month || !day || !hour || !minute || !second) return std::nullopt;
    const std::chrono::year_month_day date(std::chrono::year(static_cast<int>(*year)),
                                           std::chrono::month(*month), std::chrono::day(*day));
    if (!date.ok() || *hour > 23 || *minute > 59 || *second > 59) return std::nullopt;
    return std::chrono::sys_days(date) + std::chrono::hours(*hour) + std::chrono::minutes(*minute) +
           std::chrono::seconds(*second);
}

}  // namespace wsadmin::platform::lab
