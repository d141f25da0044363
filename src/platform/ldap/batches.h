// Cuts a list into the batches that one filter, or one call to an authority, takes.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

namespace wsadmin::platform {

// At most `size` elements each, in order. They refer to `all`, which has to outlive them unchanged.
template <class T>
std::vector<std::span<const T>> batchesOf(const std::vector<T>& all, std::size_t size) {
    std::vector<std::span<const T>> batches;
    for (std::span<const T> left = all; !left.empty(); left = left.subspan(batches.back().size()))
        batches.push_back(left.first(std::min(left.size(), size)));
    return batches;
}

}  // namespace wsadmin::platform
