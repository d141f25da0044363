// The life of the service host, from its start to the signal that stops it.
#pragma once

#include "host/service/host_file.h"
#include "host/service/host_log.h"

namespace mfwhost {

// Each returns the exit status when the process has been told to stop and everything has ended. A second
// signal ends the process at once.
int serveOperations(const HostSettings& settings);           // with the plug-ins
int serveAgent(const HostSettings& settings, HostLog& log);  // with the agent's workers

}  // namespace mfwhost
