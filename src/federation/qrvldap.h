// The operations on the federation of pods and its global layer.
#pragma once

#include "federation/operation_rules.h"
#include "federation/removal.h"
#include "ldap/worker.h"

namespace wsadmin {

class Qrvldap : public Worker {
  public:
    using Worker::Worker;

    // Answers the sites, pods and endpoints; does not wait for an operation that runs.
    Result<void> info();
    // Installs the layer for the first pod. A failure answers "QuorinLastError", too.
    Result<void> init();
    // Installs a replica of another server's layer. A failure of the first answers "QuorinLastError", too.
    Result<void> join();
    Result<void> installReplica();
    // Remove the layer from this server; the first removes the pod from the federation before.
    Result<void> unjoin();
    Result<void> uninit();
    Result<void> uninstallReplica();
    // Remove what another pod, or another server of this one, left in the federation.
    Result<void> eject();
    Result<void> removePodEndpoint();
    // Puts services, firewall and the administrators role right.
    Result<void> checkEnablement();

  private:
    Result<void> removeFramed(const qrv::OperationRule& rule, qrv::RemovalSwitches switches);
};

}  // namespace wsadmin
