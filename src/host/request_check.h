// What was typed, held against what the plug-in describes, before anything is sent: a mistyped key would
// otherwise count as missing, and the operation would do something else than was meant.
#pragma once

#include <string>
#include <vector>

#include "framework/core/property_bag.h"
#include "host/outcome.h"
#include "host/request.h"

namespace hdqadmin {

// Refuses the first request that names an operation or a key that there is not, gives a boolean or an integer
// that is none, or gives a value twice to a key that takes one. `operations` is as
// CORE::PluginDescribeFunction fills it.
Outcome<void> checkRequests(const CORE::PropertyBag& operations, const std::vector<Request>& requests);

}  // namespace hdqadmin
