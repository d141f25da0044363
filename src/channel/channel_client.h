// The carrier of a host: opens channels over TCP and TLS.
#pragma once

#include <memory>

#include "channel/link.h"
#include "framework/core/channel.h"

namespace channel {

inline constexpr std::uint16_t defaultPort = 8472;

// "host", "host:port", "[address]:port", or an IPv6 address alone. Nothing for another text.
struct HostAndPort {
    std::string host;
    std::uint16_t port = defaultPort;
};
std::optional<HostAndPort> parseAddress(std::string_view text);

struct ClientLimits {
    LinkLimits link;
    std::chrono::milliseconds connecting{10'000};  // until the channel is open, names and TCP included
};

// Its threads end with it; it outlives the channels that it opened.
std::shared_ptr<CORE::ChannelCarrier> makeCarrier(const ClientLimits& limits = {});

// Has the framework open channels with a carrier as long as the object lives.
class CarrierInUse {
  public:
    explicit CarrierInUse(const ClientLimits& limits = {});
    ~CarrierInUse();
    CarrierInUse(const CarrierInUse&) = delete;
    CarrierInUse& operator=(const CarrierInUse&) = delete;
};

}  // namespace channel
