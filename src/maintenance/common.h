// Small questions to and changes of the configuration directory as a whole.
#pragma once

#include "ldap/worker.h"

namespace wsadmin {

class Common : public Worker {
  public:
    using Worker::Worker;

    // Writes "clustername" into the common global properties.
    Result<void> setClusterName();
    // Answers "result" "ok" or "failed"; nothing at all when there is no directory to ask.
    Result<void> checkLdapConnectivity();
};

}  // namespace wsadmin
