// What a plug-in describes of its operations, looked into. `operations` is as CORE::PluginDescribeFunction
// fills it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "framework/core/property_bag.h"

namespace hdqadmin {

// The nested bags of that name, in order.
std::vector<const CORE::PropertyBag*> bagsOf(const CORE::PropertyBag& bag, std::wstring_view name);
// Null when there is none of that name.
const CORE::PropertyBag* operationNamed(const CORE::PropertyBag& operations, std::string_view name);
// Says that there is no such operation, and which is the nearest.
std::string noOperation(const CORE::PropertyBag& operations, std::string_view name);
// " (did you mean ...?)" with the name that has most in common with the given one; empty when none has
// enough.
std::string suggestion(std::string_view given, const std::vector<const CORE::PropertyBag*>& named);

}  // namespace hdqadmin
