// A lab: directories and a machine read from a folder, all in memory.
#pragma once

#include <filesystem>

#include "platform/platform.h"

namespace wsadmin::platform::lab {

// The failure's text is "file:line: what is wrong".
Result<std::shared_ptr<Platform>> openLab(const std::filesystem::path& folder);

}  // namespace wsadmin::platform::lab
