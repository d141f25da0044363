// The moment when the operating system attaches a module of this system to a process. The module's owner
// defines what happens then; each platform calls it from its own place, before anything else of the module is
// used.
#pragma once

namespace wsadmin {

// `module` is what names the module to the platform: its handle, or an address inside it.
void onAttach(void* module);

}  // namespace wsadmin
