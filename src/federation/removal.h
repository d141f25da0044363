// The removal of this server's instance of the global layer.
#pragma once

#include "ldap/service_context.h"

namespace wsadmin::qrv {

struct RemovalSwitches {
    bool removesPodEntries = false;
    bool reportsProgress = false;
};

// Tells the other instances of this server's last changes, and runs the uninstaller, by force where it fails
// at first. The calling thread holds a DirectoryThread. Failure: the sentence of the step that failed.
Result<void> removeLayer(ServiceContext& service, RemovalSwitches switches);

}  // namespace wsadmin::qrv
