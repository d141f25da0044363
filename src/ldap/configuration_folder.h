// The folder of the system's own files.
#pragma once

#include <string>

#include "platform/local_machine.h"

namespace wsadmin {

enum class DataOwner { machine, user };

// In the system's spelling with backslashes. There is always an answer: what the platform cannot tell is
// replaced by its usual place, and that is logged.
std::wstring configurationFolder(const platform::Folders& folders, DataOwner owner = DataOwner::machine);

}  // namespace wsadmin
