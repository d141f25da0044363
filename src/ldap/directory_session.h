// Opening a session to the configuration directory of this server.
#pragma once

#include <memory>
#include <string>

#include "platform/platform.h"

namespace wsadmin {

// Opens a session to this server on port 389 and binds it. Failure: the sentence that the administrator gets
// and the LDAP code, which is the failure's directoryCode, too; both are logged. Without credentials the
// process's own identity is used.
Result<std::unique_ptr<platform::LdapSession>> openConfigurationDirectory(
    platform::Platform& platform, const platform::LdapCredentials& credentials = {});

}  // namespace wsadmin
