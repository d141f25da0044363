// The agent's worker "DesktopManager", for remote machines alone: the agent's version, how much it logs, and
// bundles of its log files.
#pragma once

#include "framework/core/file_service.h"
#include "host/service/host_file.h"
#include "host/service/host_log.h"

namespace mfwhost {

// Both outlive the worker; a bundle is a file of the first folder of `bundles`.
struct Agent {
    std::string version;
    HostLog& log;
    CORE::FileAccess files;
};

// One at a time.
class DesktopManager {
  public:
    explicit DesktopManager(const Agent& agent);
    ~DesktopManager();  // running requests end first
    DesktopManager(const DesktopManager&) = delete;
    DesktopManager& operator=(const DesktopManager&) = delete;
};

}  // namespace mfwhost
