// GUIDs as text: "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx".
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace wsadmin::platform {

constexpr bool isGuid(std::wstring_view text) noexcept {
    if (text.size() != 36) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const wchar_t c = text[i];
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        const bool digit = (c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'f');
        if (dash ? c != L'-' : !digit) return false;
    }
    return true;
}

// The GUID that follows in the order of the texts; after the last one comes the first.
inline std::wstring guidAfter(std::wstring guid) {
    for (std::size_t i = guid.size(); i-- > 0;) {
        wchar_t& digit = guid[i];
        if (digit == L'-') continue;
        digit = digit == L'9' ? L'a' : digit == L'f' ? L'0' : static_cast<wchar_t>(digit + 1);
        if (digit != L'0') break;
    }
    return guid;
}

}  // namespace wsadmin::platform
