// The port to what this installation is: its role, and the generation of the operating system that it runs
// on.
#pragma once

#include <cstdint>

#include "framework/core/framework.h"

namespace wsadmin::platform {

// As the host says, unless a lab or a configuration file says otherwise.
struct Installation {
    std::uint32_t role = CORE::GetInstRole().GetType();  // bits of CORE::InstType
    int osLevel = CORE::coreosver::level();              // on the scale of CORE::coreosver
};

}  // namespace wsadmin::platform
