// The port to a test whether a server can be reached. All calls may come from any thread.
#pragma once

#include <cstdint>
#include <string>

#include "framework/core/corelock.h"

namespace wsadmin::platform {

enum class ProbeOutcome {
    connected,
    hostUnreachable,
    refused,
    timedOut,
    nameNotResolved,
    socketError,   // this machine has no socket to try with
    otherFailure,  // also where the service stops meanwhile
};

class NetworkProbe {
  public:
    virtual ~NetworkProbe() = default;
    // Opens a TCP connection and closes it. A host of several addresses is connected where one is; else the
    // last address counts. Setting `stop`, which may be null, ends the wait at once.
    virtual ProbeOutcome probe(const std::wstring& host, std::uint16_t port, const CORE::coreevent* stop) = 0;
};

}  // namespace wsadmin::platform
