// A host of channels in this process, and channels to it over TCP and TLS.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <functional>
#include <stdexcept>

#include "channel/channel_client.h"
#include "channel/channel_server.h"
#include "framework/core/framework.h"
#include "support/temp_folder.h"

namespace channel {

using CORE::MessageFrameWork;
using CORE::PropertyBag;
using CORE::RespType;
using wstest::TempFolder;

// A host with its tickets, and the carrier that reaches it.
struct Host {
    explicit Host(
        const ServerLimits& limits = {}, Permit permit = [](auto&&...) { return std::nullopt; })
        : server("127.0.0.1", 0, store, std::move(permit), limits) {}

    Ticket ticket(Rights rights = Rights::all, std::int64_t seconds = 60) {
        return store.make(rights, seconds, "");
    }
    std::wstring address(const std::wstring& name = L"127.0.0.1") const {
        return name + L":" + std::to_wstring(server.port());
    }
    std::shared_ptr<CORE::MessageChannel> open(const Ticket& ticket, const std::wstring& name = L"127.0.0.1",
                                               int kind = CORE::channelByTicket) const {
        return MessageFrameWork::System().ConnectChannelByTicket(
            kind, CORE::toWide(ticketText(ticket).view()), address(name));
    }
    asio::ip::tcp::endpoint endpoint() const { return {asio::ip::make_address("127.0.0.1"), server.port()}; }

    std::atomic<int> looks{INT_MAX};  // so often tickets are found valid; then all have expired
    std::function<void(int left)> looked = [](int) {};
    const TempFolder folder;
    TicketStore store{folder.path() / "tickets", [this] {
                          const int left = looks--;
                          looked(left);
                          return left > 0 ? 1'000'000 : 2'000'000;
                      }};
    ChannelServer server;
    const CarrierInUse carrier;
};

// A channel that is closed with the object.
struct Open {
    const std::shared_ptr<CORE::MessageChannel> channel;
    explicit Open(const Host& host, const Ticket& ticket, const std::wstring& name = L"127.0.0.1")
        : channel(host.open(ticket, name)) {
        if (!channel) throw std::runtime_error("no channel");
        PropertyBag response;
        send(response, {}, L"nobody");  // so that the host has seen it open, too
    }
    ~Open() { MessageFrameWork::System().CloseChannel(channel); }
    RespType send(PropertyBag& response, const PropertyBag& request = {},
                  const std::wstring& worker = L"echo") const {
        return channel->send(worker, L"ask", request, response, {});
    }
};

}  // namespace channel
