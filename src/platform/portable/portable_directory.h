// The directory-services port on top of any LDAP client, for machines that have no ADSI of their own.
#pragma once

#include <memory>

#include "platform/directory_services.h"
#include "platform/ldap_session.h"

namespace wsadmin::platform {

// Paths that name no server lead to a server of the domain that the entry's name ends with, or of the default
// domain (its DNS name), as "GC:" does; without either they fail with adsNoSuchDomain.
std::shared_ptr<DirectoryServices> makePortableDirectoryServices(std::shared_ptr<LdapClient> client,
                                                                 std::string defaultDomain);

}  // namespace wsadmin::platform
