// A lab: directories and a machine read from a folder, all in memory.
#pragma once

#include <filesystem>

#include "platform/platform.h"

namespace wsadmin::platform::lab {

enum class Changes { saved, dropped };

// The failure's text is "file:line: what is wrong". Where changes are dropped, the platform's save says in
// the log what is not kept.
Result<std::shared_ptr<Platform>> openLab(const std::filesystem::path& folder,
                                          Changes changes = Changes::saved);

}  // namespace wsadmin::platform::lab
