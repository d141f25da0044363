// The real machine under Linux: OpenLDAP's client library, the host's names, files and processes.
#pragma once

#include "platform/platform.h"

namespace wsadmin::platform::posix {

std::shared_ptr<LdapClient> makeLdapClient();
// Everything of this machine. There is no registry under Linux: it is read from and kept in memory only.
std::shared_ptr<Platform> makePlatform();

}  // namespace wsadmin::platform::posix
