// The desktop that a user's thin client connects to without asking.
#pragma once

#include "ldap/worker.h"
#include "platform/ldap/sid.h"

namespace wsadmin {

class DefaultDesktop : public Worker {
  public:
    using Worker::Worker;

    // Marks one desktop as the user's default, or without a desktop removes the mark.
    Result<void> setDefaultDesktop();

  private:
    Result<void> removeDefault(platform::LdapSession& session, const platform::Sid& user);
    Result<void> setDefault(platform::LdapSession& session, const platform::Sid& user,
                            const CORE::wstr& desktop);
};

}  // namespace wsadmin
