// The operations that a plug-in describes, printed. `operations` is as CORE::PluginDescribeFunction fills it.
#pragma once

#include <iosfwd>
#include <string_view>

#include "framework/core/property_bag.h"

namespace hdqadmin {

void printList(std::ostream& out, const CORE::PropertyBag& operations);
// An array of objects: "name", "shape", "changes", "built", "text", "example", "request" and "result", the
// last two arrays of {"name", "type", "required", "default", "text"}.
void printListJson(std::ostream& out, const CORE::PropertyBag& operations);
// Keys, types, defaults and results of one operation; false when there is none of that name.
bool printOperation(std::ostream& out, const CORE::PropertyBag& operations, std::string_view name);
// The same as one object of the list.
bool printOperationJson(std::ostream& out, const CORE::PropertyBag& operations, std::string_view name);

}  // namespace hdqadmin
