// The operation table as a bag, for programs that load the module and know nothing of its inside.
#pragma once

#include "framework/core/property_bag.h"

namespace wsadmin {

// In the form that CORE::PluginDescribeFunction states.
CORE::PropertyBag describeOperations();

}  // namespace wsadmin
