#include "platform/portable/agent_channels.h"

#include "framework/core/framework.h"

namespace wsadmin::platform {

namespace {

class ChannelsByTicket final : public AgentChannels {
  public:
    std::shared_ptr<CORE::MessageChannel> open(std::wstring_view ticket, std::wstring_view address,
                                               const CORE::coreevent& stop) override {
        return CORE::MessageFrameWork::System().ConnectChannelByTicket(CORE::channelByTicket, ticket, address,
                                                                       &stop);
    }
};

}  // namespace

std::shared_ptr<AgentChannels> makeAgentChannels() {
    return std::make_shared<ChannelsByTicket>();
}

}  // namespace wsadmin::platform
