// Protection items of a backup of the configuration: a new key pair, whose private half is encrypted under a
// key that is derived from the digest of the administrator's password. Every buffer that held a secret is
// wiped.
#pragma once

#include <string>
#include <string_view>

#include "framework/core/wiped_text.h"
#include "ldap/worker.h"

namespace wsadmin {

// The steps between the request and the answer; their failures carry no text.

// The 32 bytes of a digest from its 44 characters of Base64.
Result<CORE::secretstring> digestFromBase64(std::string_view text);
// PBKDF2 with HMAC-SHA-1.
Result<CORE::WipedText> deriveKey(std::string_view password, std::string_view salt, int rounds,
                                  std::size_t size);
// AES-128-CBC with a zero vector and block padding; the key has 16 bytes.
Result<std::string> encryptAes128(std::string_view key, std::string_view plain);

class BackupProtection : public Worker {
  public:
    using Worker::Worker;

    // Answers the public key, the encrypted private key and the salt, each in Base64. A failure has no text.
    Result<void> encodeBackupProtectionItems();
};

}  // namespace wsadmin
