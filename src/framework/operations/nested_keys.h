// Keys that stand below others are written once, by their own names, and put under their paths by the
// compiler.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

#include "framework/operation_table.h"

namespace wsadmin::row {

// under<path, keys>: the keys with the path and "/" before each name.
template <const auto& path, const auto& keys>
class Under {
    static constexpr std::wstring_view prefix{path};
    static constexpr std::size_t length = [] {
        std::size_t sum = 0;
        for (const Key& key : keys) sum += prefix.size() + 1 + key.name.size();
        return sum;
    }();
    static constexpr std::array<wchar_t, length> names = [] {
        std::array<wchar_t, length> text{};
        auto out = text.begin();
        for (const Key& key : keys) {
            out = std::ranges::copy(prefix, out).out;
            *out++ = L'/';
            out = std::ranges::copy(key.name, out).out;
        }
        return text;
    }();

  public:
    static constexpr std::array<Key, std::size(keys)> rows = [] {
        std::array<Key, std::size(keys)> all{};
        const wchar_t* name = names.data();
        std::ranges::transform(keys, all.begin(), [&name](Key key) {
            const std::size_t size = prefix.size() + 1 + key.name.size();
            key.name = {name, size};
            name += size;
            return key;
        });
        return all;
    }();
};
template <const auto& path, const auto& keys>
inline constexpr const auto& under = Under<path, keys>::rows;

// joined<keys...>: the lists one after the other.
template <const auto&... lists>
inline constexpr auto joined = [] {
    std::array<Key, (std::size(lists) + ...)> all{};
    auto out = all.begin();
    ((out = std::ranges::copy(lists, out).out), ...);
    return all;
}();

}  // namespace wsadmin::row
