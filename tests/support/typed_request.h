// NAME=VALUE pairs as they are typed on a command line.
#pragma once

#include <algorithm>
#include <optional>
#include <utility>

#include "platform/text/command_line.h"

namespace wstest {

using TypedPairs = std::vector<std::pair<std::wstring, std::wstring>>;

// Nothing when a quote stays open or a word is no pair.
inline std::optional<TypedPairs> typedPairs(std::wstring_view text) {
    TypedPairs pairs;
    if (std::ranges::count(text, L'"') % 2 != 0) return std::nullopt;
    for (const std::wstring& word : wsadmin::platform::splitArguments(text)) {
        const std::size_t equals = word.find(L'=');
        if (equals == std::wstring::npos) return std::nullopt;
        pairs.emplace_back(word.substr(0, equals), word.substr(equals + 1));
    }
    return pairs;
}

}  // namespace wstest
