// Encryption of sensitive parameters under the host's key, and small questions about identities.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "framework/core/corestring.h"
#include "framework/core/export.h"

namespace CORE {

// AES-256-GCM with a random nonce; the text form is "{1}" and base64 of nonce, cipher text and tag. The key
// is the host's: 32 bytes in a file that only its owner may read, made on first use. Any thread.
class MFWCORE_API SecurityManager {
  public:
    static SecurityManager& System();
    // Another place for the key, instead of the platform's; a key that is in use is forgotten.
    void setKeyFile(std::wstring_view path);

    // Empty when the text was not made under this key or was changed; the failure is logged without the text.
    mstr Decrypt(std::wstring_view encrypted);
    wstr Encrypt(std::string_view plain);  // throws coreException when there is no key to be had

  private:
    SecurityManager();
    ~SecurityManager();
    struct State;
    std::unique_ptr<State> state_;
};

struct coreportable {
    MFWCORE_API static bool isAdmin(void* token);                    // null: this process
    MFWCORE_API static wstr convertSidToStringSid(const void* sid);  // a binary SID; empty when it is not one
};

}  // namespace CORE
