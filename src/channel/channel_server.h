// Takes channels of remote machines and delivers their requests to the workers of this process.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "channel/link.h"
#include "channel/ticket.h"
#include "framework/core/threads.h"

namespace channel {

struct ServerLimits {
    LinkLimits link;
    std::chrono::milliseconds idle{600'000};  // an open channel without a request
    std::size_t channels = 256;          // that are open, a quarter of one ticket; more are closed at once
    std::size_t handshakes = 256;        // that have proved no ticket yet, and as many that have: the oldest
                                         // of each makes room
    std::size_t requestsOfChannel = 32;  // at once
    std::size_t requests = 256;          // at once, of all channels, and a quarter of those of one ticket
};

// Whether a ticket of these rights permits the request; else the sentence for the peer.
using Permit = std::function<std::optional<std::wstring>(Rights rights, const std::wstring& worker,
                                                         const std::wstring& operation)>;

// A request of a ticket with `agent` rights reaches workers that take remote messages; every other is
// delivered as a local one, after `permit`. Any thread may call.
class ChannelServer {
  public:
    // Listens when it is made; port 0 takes any. Throws coreException when it cannot. The store outlives it.
    ChannelServer(const std::string& address, std::uint16_t port, const TicketStore& tickets, Permit permit,
                  const ServerLimits& limits = {});
    ~ChannelServer();  // as stop
    ChannelServer(const ChannelServer&) = delete;
    ChannelServer& operator=(const ChannelServer&) = delete;

    std::uint16_t port() const noexcept;
    // From now on requests are refused and no channel is taken. Those that run are told to wait for nothing
    // any more (WorkItem::AbortHandler), and are answered.
    void refuse();
    // Names of the operations that run.
    std::vector<std::wstring> running() const;
    std::size_t channels() const;  // that are open
    // Waits until all that runs is answered: after refuse.
    void waitForAnswers();
    // Refuses, closes all channels and waits for its threads.
    void stop();

  private:
    class Implementation;
    std::shared_ptr<Implementation> implementation_;
};

}  // namespace channel
