// The agents that a lab's machine can reach.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/corestring.h"
#include "platform/agent_channels.h"

namespace wsadmin::platform::lab {

struct AgentLog {
    std::string name, path, content;
};

struct AgentFaults {
    bool refuseConnections = false;
    std::vector<std::string> failing;    // operations of the agent that fail
    std::optional<int> breakAfterBytes;  // of a file: then the channel breaks
};

struct AgentDescription {
    std::string address;
    CORE::secretstring ticket;
    std::string version = "1.0", logLevel = "info";
    std::vector<AgentLog> logs;
    std::string bundle = "diagnostics";  // the content of each bundle that it makes; empty: it makes none
    AgentFaults faults;
};

bool isAgentOperation(std::string_view name) noexcept;

// Each agent keeps its log level and its bundles as long as the lab is open.
std::shared_ptr<AgentChannels> makeLabAgents(std::vector<AgentDescription> agents);

}  // namespace wsadmin::platform::lab
