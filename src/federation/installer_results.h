// What the programs that install and remove a directory instance leave in the registry about their run.
#pragma once

#include "framework/core/property_bag.h"
#include "platform/platform.h"

namespace wsadmin::qrv {

// All values by their names, logged; empty where there are none, or where they cannot be read.
CORE::PropertyBag logInstallerResults(const platform::Platform& platform);

}  // namespace wsadmin::qrv
