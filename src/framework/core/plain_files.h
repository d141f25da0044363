// Files as they stand: nothing here follows a link.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

#include "framework/core/export.h"

namespace CORE {

// `other`: a link, whatever it leads to, a device, or what cannot be looked at.
enum class FileKind { missing, file, folder, other };
MFWCORE_API FileKind kindOf(const std::filesystem::path& path) noexcept;

struct FilePart {
    std::uint64_t size = 0;      // bytes, of the whole file
    std::uint64_t identity = 0;  // another one for a file that took its place
};
// Appends up to `most` bytes from the offset on. Nothing: that is no file, or it cannot be read.
MFWCORE_API std::optional<FilePart> readPart(const std::filesystem::path& file, std::uint64_t offset,
                                             std::size_t most, std::vector<std::uint8_t>& into);

// False: something stands at `to`, which stays. Throws coreException on other errors.
bool renameToNew(const std::filesystem::path& from, const std::filesystem::path& to);

}  // namespace CORE
