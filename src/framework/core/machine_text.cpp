#include "framework/core/machine_text.h"

#include <array>
#include <random>

#include "framework/core/corestring.h"
#include "framework/core/system.h"

namespace CORE::machine {

std::wstring expandEnvironment(std::wstring_view text) {
    std::wstring out;
    while (!text.empty()) {
        const std::size_t open = text.find(L'%');
        out.append(text.substr(0, open));
        if (open == std::wstring_view::npos) break;
        text.remove_prefix(open + 1);
        const std::size_t close = text.find(L'%');
        const bool named = close != std::wstring_view::npos && close > 0;
        if (const auto value = named ? sys::environment(text.substr(0, close)) : std::nullopt) {
            out.append(*value);
            text.remove_prefix(close + 1);
        } else {
            out.push_back(L'%');  // the closing sign of an unknown name may open the next name
        }
    }
    return out;
}

// RFC 9562, version 4.
std::wstring newGuid() {
    std::random_device source;
    std::array<std::uint32_t, 4> words{source(), source(), source(), source()};
    words[1] = (words[1] & 0xFFFF0FFFU) | 0x00004000U;
    words[2] = (words[2] & 0x3FFFFFFFU) | 0x80000000U;
    static constexpr wchar_t digits[] = L"0123456789abcdef";
    std::wstring text;
    for (const std::uint32_t word : words)
        for (int shift = 28; shift >= 0; shift -= 4) text.push_back(digits[(word >> shift) & 0xF]);
    for (const std::size_t dash : {20U, 16U, 12U, 8U}) text.insert(dash, 1, L'-');
    return text;
}

std::optional<std::wstring> policyText(std::wstring_view key, std::wstring_view name) {
    static constexpr std::wstring_view software = L"\\Software\\";
    const std::size_t root = key.find(L'\\');
    if (root == std::wstring_view::npos || !equalFolded(key.substr(root, software.size()), software))
        return std::nullopt;
    std::wstring policy(key);
    policy.insert(root + software.size(), L"Policies\\");
    return sys::registryValue(policy, name);
}

}  // namespace CORE::machine
