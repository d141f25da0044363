// Bags as text for logs.
#include <algorithm>
#include <array>
#include <cstdio>
#include <string>

#include "framework/core/ascii.h"
#include "framework/core/property_bag.h"
#include "framework/core/unicode.h"

namespace CORE {

namespace {

// Whether a word of the name begins at the position. Words are "private-key", "private_key", "privateKey" and
// "RSAKey".
bool wordBegins(std::string_view name, std::size_t at) {
    if (at == 0 || !isAsciiLetter(name[at - 1])) return true;
    if (!isAsciiUpper(name[at])) return false;
    return isAsciiLower(name[at - 1]) || (at + 1 < name.size() && isAsciiLower(name[at + 1]));
}

bool wordEnds(std::string_view name, std::size_t end) {
    return end == name.size() || !isAsciiLetter(name[end]) || wordBegins(name, end);
}

// Whether a word of the name ends in "key" or "keys": "privatekey" is secret, "keyboard" is not.
bool speaksOfKeys(std::string_view name, std::string_view low) {
    for (std::size_t at = low.find("key"); at != std::string_view::npos; at = low.find("key", at + 1)) {
        const std::size_t end = at + 3;
        if (wordEnds(name, end) || (low[end] == 's' && wordEnds(name, end + 1))) return true;
    }
    return false;
}

bool isSecret(std::string_view name) {
    static constexpr std::array<std::string_view, 7> words = {"password", "passwd",     "passphrase", "pwd",
                                                              "secret",   "credential", "ticket"};
    const std::string low = asciiLower(std::string(name));
    return std::any_of(words.begin(), words.end(),
                       [&](std::string_view word) { return low.find(word) != std::string_view::npos; }) ||
           speaksOfKeys(name, low);
}

// A line break in a value must not look like a new log line.
void appendOneLine(std::string& line, std::string_view text) {
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7F) {
            line += c;
        } else if (c == '\n' || c == '\r' || c == '\t') {
            line += c == '\n' ? "\\n" : c == '\r' ? "\\r" : "\\t";
        } else {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02x", byte);
            line += escape;
        }
    }
}

void append(std::string& line, const PropertyBag& bag, std::string_view separator) {
    for (std::size_t at = 0; at < bag.size(); ++at) {
        if (at > 0) line += separator;
        const std::string_view name = bag.nameUtf8(at);
        appendOneLine(line, name);
        line += '=';
        if (isSecret(name)) {
            line += "*****";
        } else if (bag.isBag(at)) {
            const PropertyBag& nested = bag.getBag(at);
            line += '{';
            if (const int code = nested.getError(); code != 0) {
                appendOneLine(line, "error " + std::to_string(code) + ": " + toUtf8(nested.getErrorText()));
                if (!nested.empty()) line += separator;
            }
            append(line, nested, separator);
            line += '}';
        } else {
            appendOneLine(line, bag.utf8(at));
        }
    }
}

}  // namespace

wstr PropertyBag::flattenForDisplay(std::wstring_view separator) const {
    std::string line;
    append(line, *this, toUtf8(separator));
    return unicode::decodeAll(line, unicode::Policy::lossless);
}

}  // namespace CORE
