// What replication conflicts and deletions left behind in the configuration directory: entries that lost
// their name to another one, references to them, and references to entries that are deleted.
#pragma once

#include "ldap/worker.h"

namespace wsadmin {

class Collisions : public Worker {
  public:
    using Worker::Worker;

    // Finds them and, where "resolveCollisions" says so, repairs or removes them. The log alone tells what
    // was found and done; the answer is empty even when there is no session or the work ends early. What is
    // left then is found by the next request.
    Result<void> showAndResolveLDAPCollisions();
};

}  // namespace wsadmin
