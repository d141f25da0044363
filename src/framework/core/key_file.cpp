#include "framework/core/key_file.h"

#include <openssl/rand.h>

#include <algorithm>
#include <filesystem>

#include "framework/core/coreexception.h"
#include "framework/core/corestring.h"
#include "framework/core/system.h"

namespace CORE {

namespace {

// False when there is no such file.
bool readKey(const std::wstring& path, SecretKey& key) {
    std::array<unsigned char, secretKeySize + 1> content{};  // one more byte, to detect a longer file
    const auto size = sys::readPrivateFile(path, content);
    const bool whole = size == secretKeySize;
    if (whole) std::copy_n(content.begin(), key.size(), key.begin());
    wipeMemory(content.data(), content.size());
    if (size && !whole) throw coreException(L"The file " + path + L" does not hold a key");
    return whole;
}

void makeKey(const std::wstring& path) {
    sys::createPrivateFolder(std::filesystem::path(path).parent_path().wstring());
    SecretKey key{};
    if (RAND_priv_bytes(key.data(), static_cast<int>(key.size())) != 1)
        throw coreException(L"There are no random bytes to be had for a key");
    try {
        sys::createPrivateFile(path, key);  // false when another process was first: its key is used
    } catch (...) {
        wipeMemory(key.data(), key.size());
        throw;
    }
    wipeMemory(key.data(), key.size());
}

}  // namespace

void readOrMakeKey(const std::wstring& path, SecretKey& key) {
    if (readKey(path, key)) return;
    makeKey(path);
    if (!readKey(path, key)) throw coreException(L"The key file " + path + L" has gone");
}

}  // namespace CORE
