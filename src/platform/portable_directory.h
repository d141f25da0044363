// The directory-services port on top of any LDAP client, for machines that have no ADSI of their own.
#pragma once

#include <memory>

#include "platform/directory_services.h"
#include "platform/ldap_session.h"

namespace wsadmin::platform {

// Paths that name no server, "GC:" among them, lead to a server of the default domain (its DNS name); without
// one they fail with adsNoSuchDomain.
std::shared_ptr<DirectoryServices> makePortableDirectoryServices(std::shared_ptr<LdapClient> client,
                                                                 std::string defaultDomain);

}  // namespace wsadmin::platform
