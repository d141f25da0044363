// The moment when the operating system attaches a module of this system to a process, and the plug-in that
// the module's exported functions then hand their calls to.
#pragma once

#include "framework/core/service.h"

namespace wsadmin {

// Each platform calls it from its own place, before anything else of the module is used. `module` is what
// names the module to the platform: its handle, or an address inside it.
void onAttach(void* module);

// The module's one plug-in object, made by the first call. Each module defines it.
CORE::mfwPluginDll& modulePlugin();

}  // namespace wsadmin
