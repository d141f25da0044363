// The account that a server of the federation is asked with, its password encrypted as it came. Nobody keeps
// the plain password longer than the one call that needs it.
#pragma once

#include <string>

#include "platform/directory_services.h"

namespace wsadmin::qrv {

struct SourceAccount {
    std::wstring user;      // DOMAIN\user; empty: the process's identity
    std::wstring password;  // encrypted by the host's security manager
};

// With the plain password, which is wiped with them: made anew for each call. Failure: the password cannot be
// decrypted.
Result<platform::DirectoryCredentials> credentialsOf(const SourceAccount& account);

}  // namespace wsadmin::qrv
