// NAME=VALUE pairs as they are typed on a command line.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace wstest {

using TypedPairs = std::vector<std::pair<std::wstring, std::wstring>>;

// Split at blanks outside double quotes. Nothing when a quote stays open or a word is no pair.
inline std::optional<TypedPairs> typedPairs(std::wstring_view text) {
    TypedPairs pairs;
    if (text.empty()) return pairs;
    std::vector<std::wstring> words(1);
    bool quoted = false;
    for (const wchar_t c : text) {
        if (c == L'"')
            quoted = !quoted;
        else if (c == L' ' && !quoted)
            words.emplace_back();
        else
            words.back() += c;
    }
    for (const std::wstring& word : words) {
        const std::size_t equals = word.find(L'=');
        if (equals == std::wstring::npos) return std::nullopt;
        pairs.emplace_back(word.substr(0, equals), word.substr(equals + 1));
    }
    return quoted ? std::nullopt : std::optional(std::move(pairs));
}

}  // namespace wstest
