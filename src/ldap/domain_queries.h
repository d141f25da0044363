// What is known of the domains and of this server's name.
#pragma once

#include "ldap/worker.h"

namespace wsadmin {

class DomainQueries : public Worker {
  public:
    using Worker::Worker;

    // The domains as the domain map has them. When a build fails, the failure and what the last build gave.
    Result<void> getDomainHealth();
    // "isMixedMode", also true where nobody knows.
    Result<void> getDomainType();
    // "netBiosName", left out where it cannot be read.
    Result<void> getNetBiosName();
};

}  // namespace wsadmin
