// The operations on the IPsec rules of a pairing.
#pragma once

#include "ldap/worker.h"

namespace wsadmin {

class IPsecOperations : public Worker {
  public:
    using Worker::Worker;

    Result<void> add();
    Result<void> remove();
    // Answers the name of the rule and the remote address of the security association that is alive.
    Result<void> getEndpoints();
    // Answers "IPsecRulesActive".
    Result<void> verifyActive();
    // Runs the monitor once, and starts its timer.
    Result<void> monitor();
};

}  // namespace wsadmin
