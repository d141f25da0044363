// The host's key: 32 random bytes in a file that only its owner may read.
#pragma once

#include <array>
#include <string>

#include "framework/core/export.h"

namespace CORE {

inline constexpr std::size_t secretKeySize = 32;
using SecretKey = std::array<unsigned char, secretKeySize>;

// Reads the key, and creates it first when there is none; processes that do so concurrently get the same key.
// The file's folder is created for its owner alone. Throws coreException on failure, and when the file is a
// link, or others own or may use it. An existing file is never overwritten.
MFWCORE_API void readOrMakeKey(const std::wstring& path, SecretKey& key);

}  // namespace CORE
