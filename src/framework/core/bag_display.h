// What is masked when a bag is shown in a log.
#pragma once

#include <string_view>
#include <vector>

#include "framework/core/export.h"

namespace CORE {

// PropertyBag::flattenForDisplay masks entries of these names too, whatever their case, until the process
// ends.
MFWCORE_API void maskInDisplay(const std::vector<std::wstring_view>& names);

}  // namespace CORE
