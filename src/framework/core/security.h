// Encryption of sensitive parameters under the host's key, and small questions about identities.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "framework/core/corestring.h"
#include "framework/core/export.h"

namespace CORE {

// AES-256-GCM with a random nonce; the text form is "{1}" and base64 of nonce, cipher text and tag. The key
// is the host's: 32 bytes in a file that only its owner may read, created on first use. Thread safe.
class MFWCORE_API SecurityManager {
  public:
    static SecurityManager& System();
    // Replaces the platform's default path of the key file, and forgets the present key.
    void setKeyFile(std::wstring_view path);

    // Empty when the text was encrypted with another key or was changed; logged as an error, without the
    // text.
    mstr Decrypt(std::wstring_view encrypted);
    wstr Encrypt(
        std::string_view plain);  // throws coreException when the key can be neither read nor created

  private:
    SecurityManager();
    ~SecurityManager();
    struct State;
    std::unique_ptr<State> state_;
};

// The same for a remote tool: an operation of the "System" worker, which answers the text of the request
// encrypted under the key of the host that it is sent to. Agents' tickets do not reach it.
inline constexpr std::wstring_view encryptOperation = L"Encrypt";
inline constexpr std::wstring_view encryptText = L"Text";

struct coreportable {
    MFWCORE_API static bool isAdmin(void* token);                    // null: this process
    MFWCORE_API static wstr convertSidToStringSid(const void* sid);  // a binary SID; empty when it is not one
};

}  // namespace CORE
