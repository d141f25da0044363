#include "clientauth/client_identifier.h"

#include <algorithm>

#include "framework/core/ascii.h"
#include "framework/core/corestring.h"

namespace wsadmin {

namespace {

constexpr std::wstring_view addressPrefix = L"cm-";

bool beginsWith(std::wstring_view text, std::wstring_view prefix) {
    return CORE::equalFolded(text.substr(0, prefix.size()), prefix);
}

// Six pairs of hexadecimal digits with colons between them.
bool isCardAddress(std::wstring_view text) {
    constexpr std::size_t length = 17, group = 3;
    if (text.size() != length) return false;
    for (std::size_t i = 0; i < length; ++i) {
        const wchar_t c = CORE::asciiLower(text[i]);
        const bool digit = CORE::isAsciiDigit(c) || (c >= L'a' && c <= L'f');
        if (i % group == group - 1 ? c != L':' : !digit) return false;
    }
    return true;
}

}  // namespace

std::optional<std::wstring> keptIdentifier(std::wstring_view given,
                                           const std::vector<std::wstring>& prefixes) {
    if (std::ranges::any_of(prefixes, [given](const auto& prefix) { return beginsWith(given, prefix); }))
        return std::wstring(given);
    std::wstring address(given.substr(beginsWith(given, addressPrefix) ? addressPrefix.size() : 0));
    if (!isCardAddress(address)) return std::nullopt;
    std::ranges::replace(address, L':', L'_');
    return std::wstring(addressPrefix) + address;
}

}  // namespace wsadmin
