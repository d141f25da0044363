// Requests, and the SIDs of people in them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "framework/core/property_bag.h"

namespace wstest {

// With these names and values.
inline CORE::PropertyBag requestOf(const std::vector<std::pair<const wchar_t*, std::string>>& entries) {
    CORE::PropertyBag request;
    for (const auto& [name, value] : entries) request.add(name, std::string_view(value));
    return request;
}

inline std::string sidOf(int number) {
    return "S-1-5-21-2000-2000-2000-" + std::to_string(number);
}

}  // namespace wstest
