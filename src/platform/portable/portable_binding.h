// An opened path of the portable directory services: what searches and objects have in common.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "platform/directory_services.h"
#include "platform/ldap_session.h"
#include "platform/portable/directory_types.h"

namespace wsadmin::platform {

struct PortableBinding {
    DirectoryPath path;  // with the name of the entry that it means
    LdapEndpoint endpoint;
    std::shared_ptr<LdapClient> client;
    LdapCredentials credentials;
    std::shared_ptr<LdapSession> session;
    std::shared_ptr<AttributeTypes> types;
    std::shared_ptr<std::atomic<bool>> lost;  // set when the server turns out to be gone

    // The path of another entry of the same server.
    DirectoryPath pathTo(std::string dn) const;
    // The session where it is confidential, else a new one to the same server that is. A failure is already
    // one of this port.
    Result<std::shared_ptr<LdapSession>> confidentialSession() const;
    // A failure of the session as this port reports it; notes a lost server.
    Failure failure(const Failure& cause) const;
};

// The failure that stands for an LDAP result.
Failure adsFailure(const Failure& ldapFailure);
// A failure of this port's own.
Failure adsFailure(int code);

}  // namespace wsadmin::platform
