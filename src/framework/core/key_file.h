// The host's key: 32 random bytes in a file that only its owner may read.
#pragma once

#include <array>
#include <string>

#include "framework/core/export.h"

namespace CORE {

inline constexpr std::size_t secretKeySize = 32;
using SecretKey = std::array<unsigned char, secretKeySize>;

// Reads the key, and makes it first when there is none. Processes that do so at the same time end with the
// same key. The file's folder is made for its owner alone. Throws coreException when there is no key to be
// had, or when the file is a link, or others own or may use it; what is there is never overwritten.
MFWCORE_API void readOrMakeKey(const std::wstring& path, SecretKey& key);

}  // namespace CORE
