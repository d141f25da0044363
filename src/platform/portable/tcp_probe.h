// The test whether a server can be reached, with the sockets of the system.
#pragma once

#include <chrono>
#include <memory>
#include <system_error>

#include "platform/network_probe.h"

namespace wsadmin::platform {

// An address that does not answer is given up after `limit`. The look-up of the name takes as long as the
// system's resolver does.
std::shared_ptr<NetworkProbe> makeTcpProbe(std::chrono::milliseconds limit = std::chrono::seconds(20));

// What the failure of a look-up or a connection means. Never `connected`.
ProbeOutcome probeFailure(const std::error_code& error);

}  // namespace wsadmin::platform
