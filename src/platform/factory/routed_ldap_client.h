// An LDAP client that reaches directories the way a configuration says.
#pragma once

#include <memory>

#include "platform/factory/configuration.h"

namespace wsadmin::platform {

// An endpoint that no route is for is opened as it is asked for. Where a route has credentials they are used
// instead of the identity of the process; a user and password that come with a request stay, and are bound by
// the route's method.
std::shared_ptr<LdapClient> makeRoutedLdapClient(std::shared_ptr<LdapClient> client,
                                                 Configuration configuration);

}  // namespace wsadmin::platform
