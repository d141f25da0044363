#include "federation/source_account.h"

#include "framework/core/security.h"

namespace wsadmin::qrv {

Result<platform::DirectoryCredentials> credentialsOf(const SourceAccount& account) {
    platform::DirectoryCredentials credentials{.user = CORE::toUtf8(account.user), .password = {}};
    if (account.user.empty()) return credentials;
    CORE::mstr plain = CORE::SecurityManager::System().Decrypt(account.password);
    credentials.password = CORE::secretstring(plain);
    plain.clearAndWipe();
    if (credentials.password.empty()) return fail(L"The password cannot be decrypted");
    return credentials;
}

}  // namespace wsadmin::qrv
