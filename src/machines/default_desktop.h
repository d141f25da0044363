// The desktop that a user's thin client connects to without asking.
#pragma once

#include "ldap/worker.h"

namespace wsadmin {

class DefaultDesktop : public Worker {
  public:
    using Worker::Worker;

    // Marks one desktop as the user's default, or without a desktop removes the mark.
    Result<void> setDefaultDesktop();
};

}  // namespace wsadmin
