// Bags as JSON: an array of [name, value] pairs in the bag's order, a value being a string or such an array,
// because names repeat and order counts.
#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string_view>

#include "framework/core/property_bag.h"
#include "host/outcome.h"

namespace hdqadmin {

// Written entry by entry, whatever the bag's size. Text is UTF-8.
void writeJson(std::ostream& out, const CORE::PropertyBag& bag);
void writeJsonText(std::ostream& out, std::string_view text);

// Strict JSON: text that is not valid UTF-8 and halves of surrogate pairs are refused. The sentence gives
// line and column.
Outcome<nlohmann::json> parseJson(std::string_view text);
// Overwrites the texts in `value` as it goes. Nested more than 100 deep is refused.
Outcome<CORE::PropertyBag> bagFromJson(nlohmann::json& value);

}  // namespace hdqadmin
