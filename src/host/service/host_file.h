// mfwhost's configuration file. docs/host.md tells what stands in it.
#pragma once

#include <filesystem>
#include <string>

#include "channel/channel_server.h"
#include "framework/core/file_service.h"
#include "framework/core/log.h"
#include "framework/core/property_bag.h"
#include "host/outcome.h"

namespace mfwhost {

struct AgentSettings {
    std::string version = "1.0";
    int logLevel = CORE::logInfo;
};

struct HostSettings {
    std::string address = "127.0.0.1";
    std::uint16_t port = 0;
    std::filesystem::path tickets;
    CORE::PropertyBag startup;  // of the plug-ins
    CORE::FileAccess files;
    channel::ServerLimits limits;
    AgentSettings agent;
};

// Relative paths stand beside the file. The sentence is "file:line: what is wrong".
hdqadmin::Outcome<HostSettings> readHostFile(const std::string& file);

}  // namespace mfwhost
