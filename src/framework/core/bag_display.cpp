// Bags as text for logs.
#include "framework/core/bag_display.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <mutex>
#include <set>
#include <string>

#include "framework/core/ascii.h"
#include "framework/core/property_bag.h"
#include "framework/core/unicode.h"

namespace CORE {

namespace {

// Names that were registered, in lower case.
class SecretNames {
  public:
    void add(const std::vector<std::wstring_view>& names) {
        const std::lock_guard hold(mutex_);
        for (const std::wstring_view name : names) names_.insert(asciiLower(toUtf8(name)));
    }
    bool contains(const std::string& name) const {
        const std::lock_guard hold(mutex_);
        return names_.contains(name);
    }

  private:
    mutable std::mutex mutex_;
    std::set<std::string> names_;
};

SecretNames& registered() {
    static SecretNames& names = *new SecretNames;  // never destroyed: threads may log while the process ends
    return names;
}

// Whether a word of the name begins at the position. Words are "private-key", "private_key", "privateKey" and
// "RSAKey".
bool wordBegins(std::string_view name, std::size_t at) {
    if (at == 0 || !isAsciiLetter(name[at - 1])) return true;
    if (!isAsciiUpper(name[at])) return false;
    return isAsciiLower(name[at - 1]) || (at + 1 < name.size() && isAsciiLower(name[at + 1]));
}

// In lower case, without a plural's "s". What follows the last letter is no word.
std::string lastWord(std::string_view name) {
    std::size_t end = name.size();
    while (end > 0 && !isAsciiLetter(name[end - 1])) --end;
    if (end == 0) return {};
    std::size_t begin = end - 1;
    while (!wordBegins(name, begin)) --begin;
    std::string word = asciiLower(std::string(name.substr(begin, end - begin)));
    if (word.ends_with('s')) word.pop_back();
    return word;
}

// Other words end in "key", too: a "turkey" is none.
bool isKey(std::string_view word) {
    static constexpr std::array<std::string_view, 8> kinds = {"",    "private", "secret", "shared",
                                                              "api", "session", "master", "host"};
    if (!word.ends_with("key")) return false;
    word.remove_suffix(3);
    return std::ranges::find(kinds, word) != kinds.end();
}

// The last word says what the value is: a "private-key" is one, a "ticket-office" is not. As an end of a
// word, because a "userpassword" is as secret as a "user-password".
bool isSecret(std::string_view name) {
    static constexpr std::array<std::string_view, 7> ends = {"password", "passwd",     "passphrase", "pwd",
                                                             "secret",   "credential", "ticket"};
    const std::string word = lastWord(name);
    return std::ranges::any_of(ends, [&word](std::string_view end) { return word.ends_with(end); }) ||
           isKey(word) || registered().contains(asciiLower(std::string(name)));
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

void maskInDisplay(const std::vector<std::wstring_view>& names) {
    registered().add(names);
}

wstr PropertyBag::flattenForDisplay(std::wstring_view separator) const {
    std::string line;
    append(line, *this, toUtf8(separator));
    return unicode::decodeAll(line, unicode::Policy::lossless);
}

}  // namespace CORE
