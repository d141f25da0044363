// Opening a session to the configuration directory of this server.
#pragma once

#include <memory>
#include <string>

#include "framework/core/property_bag.h"
#include "platform/platform.h"

namespace wsadmin {

// Opens a session to this server on port 389 and binds it. Failure: the sentence that the administrator gets
// and the LDAP code; both are logged. Without credentials the process's own identity is used.
Result<std::unique_ptr<platform::LdapSession>> openConfigurationDirectory(
    platform::Platform& platform, const platform::LdapCredentials& credentials = {});

// Puts such a failure into a result: error 1 with the sentence, and the code under "ldaperr".
void setDirectoryError(CORE::PropertyBag& result, const Failure& failure);

}  // namespace wsadmin
