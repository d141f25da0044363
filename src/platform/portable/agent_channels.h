// Channels to agents over the host's transport.
#pragma once

#include "platform/agent_channels.h"

namespace wsadmin::platform {

std::shared_ptr<AgentChannels> makeAgentChannels();

}  // namespace wsadmin::platform
