// An LDAP client that keeps idle sessions for whoever opens the same server next.
#pragma once

#include <memory>

#include "platform/clock.h"
#include "platform/ldap_session.h"

namespace wsadmin::platform {

// Connecting, TLS and the bind cost a domain controller more than many a change. ADSI therefore caches its
// connections by server and identity; this client does the same where there is no ADSI: a session that was
// bound as the process is kept when its user is done, and the next bind as the process to the same endpoint
// takes it. A session has one user at a time. One that the server has closed, or whose last bind or answer is
// a second old and that does not answer a search within another second, is replaced by a new connection, and
// the other idle ones of its server are closed. Where the LDAP client cannot tell (Windows' own), none is
// used again. Kept are 16 sessions at most, each for three minutes after its bind, so that a new ticket of
// the process takes effect; `stop` closes them. A session that was bound with a user's credentials, or as
// nobody, is never kept.
std::shared_ptr<LdapClient> makeReusingLdapClient(std::shared_ptr<LdapClient> client,
                                                  std::shared_ptr<Clock> clock);

}  // namespace wsadmin::platform
