// Names of files that come from outside, against the folders that the host allows.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/export.h"

namespace CORE {

std::filesystem::path pathOfUtf8(std::string_view utf8);
std::string utf8OfPath(const std::filesystem::path& path);

// The path when it stands in or below one of the folders, with no link on the way from the folder to it; a
// relative name is taken to stand in the first folder. Nothing for every other name, among them one with
// "..", a NUL, a stream or a device of Windows. The file itself may be missing.
std::optional<std::filesystem::path> permittedPath(std::string_view utf8,
                                                   const std::vector<std::filesystem::path>& folders);

// Whether Windows takes the name for another one, a stream or a device.
MFWCORE_API bool isWindowsTrap(std::string_view name);

}  // namespace CORE
