// Accounts of client devices: what is configured, and removing all of them.
#pragma once

#include "ldap/worker.h"

namespace wsadmin {

class ClientAuth : public Worker {
  public:
    using Worker::Worker;

    // "ou", "group", "expirepassword" and each "customprefix".
    Result<void> clientAuthGetDefaults();
    // "userList" and "serverList".
    Result<void> clientAuthList();
    // How many were removed and how many were not, with one "errorText" for each of these.
    Result<void> clientAuthRemoveAll();
};

}  // namespace wsadmin
