// Channels to the frameworks of remote machines, and what carries them.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "framework/core/corelock.h"
#include "framework/core/export.h"
#include "framework/core/message.h"

namespace CORE {

// A connection with a remote machine's framework. Shared by its users; MessageFrameWork::CloseChannel ends
// it. Thread safe.
class MFWCORE_API MessageChannel {
  public:
    MessageChannel();
    virtual ~MessageChannel();
    MessageChannel(const MessageChannel&) = delete;
    MessageChannel& operator=(const MessageChannel&) = delete;

    // As MessageHandler::SendMsg, to a worker of the remote framework. The remote answer, its error included,
    // comes back unchanged; a channel that breaks is error 1 with a sentence.
    virtual RespType send(std::wstring_view worker, std::wstring_view operation, const PropertyBag& request,
                          PropertyBag& response, const SendOptions& options) = 0;
    // Requests that wait end with error 1, and later ones fail. A second call does nothing.
    virtual void close() noexcept = 0;

    // The number under which the framework knows the open channel, never an address; 0 before it is open.
    std::uint64_t handle() const noexcept { return handle_; }

  private:
    friend class ChannelTable;
    std::uint64_t handle_ = 0;
};

// The transport of a host. Thread safe.
class MFWCORE_API ChannelCarrier {
  public:
    ChannelCarrier();
    virtual ~ChannelCarrier();
    // Null when the remote host cannot be reached or refuses the ticket, which is logged without the ticket,
    // and when `stop` is set before the channel is open. `stop` may be null.
    virtual std::shared_ptr<MessageChannel> connect(std::wstring_view ticket, std::wstring_view address,
                                                    const coreevent* stop) = 0;
};

// The kinds of channels by their numbers.
inline constexpr int channelByTicket = 2;

}  // namespace CORE
