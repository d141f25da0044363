// The operations on the federation of pods and its global layer.
#pragma once

#include "ldap/worker.h"

namespace wsadmin {

class Qrvldap : public Worker {
  public:
    using Worker::Worker;

    // Answers the sites, pods and endpoints; does not wait for an operation that runs.
    Result<void> info();
    // Installs the layer for the first pod. A failure answers "QuorinLastError", too.
    Result<void> init();
    // Puts services, firewall and the administrators role right.
    Result<void> checkEnablement();
};

}  // namespace wsadmin
