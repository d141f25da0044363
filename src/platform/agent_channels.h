// The port to the agents inside machines.
#pragma once

#include <memory>
#include <string_view>

#include "framework/core/channel.h"

namespace wsadmin::platform {

// Any thread may call.
class AgentChannels {
  public:
    virtual ~AgentChannels() = default;
    // Null when none can be opened, which is logged, and when `stop` is set before the channel is open. The
    // framework knows the channel by its handle and closes it.
    virtual std::shared_ptr<CORE::MessageChannel> open(std::wstring_view ticket, std::wstring_view address,
                                                       const CORE::coreevent& stop) = 0;
};

}  // namespace wsadmin::platform
