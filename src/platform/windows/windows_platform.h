// The real machine under Windows.
#pragma once

#include "platform/platform.h"

namespace wsadmin::platform::windows {

std::shared_ptr<LdapClient> makeLdapClient();
std::shared_ptr<DirectoryServices> makeDirectoryServices();  // ADSI
std::shared_ptr<Platform> makePlatform();

}  // namespace wsadmin::platform::windows
