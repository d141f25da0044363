#include "framework/core/asio_parts.h"  // first: it says how asio allocates
//
#include "platform/portable/tcp_probe.h"

#include <asio/ip/tcp.hpp>
#include <optional>

#include "framework/core/corestring.h"

namespace wsadmin::platform {

namespace {

using asio::ip::tcp;
using std::chrono::steady_clock;

constexpr std::chrono::milliseconds beforeLookAtStop{20};

struct FailureMeaning {
    std::error_code error;
    ProbeOutcome outcome;
};

class TcpProbe final : public NetworkProbe {
  public:
    explicit TcpProbe(std::chrono::milliseconds limit) : limit_(limit) {}

    ProbeOutcome probe(const std::wstring& host, std::uint16_t port, const CORE::coreevent* stop) override {
        // The resolver takes an empty name for this machine, and one with a NUL for what stands before it.
        if (host.empty() || host.find(L'\0') != host.npos) return ProbeOutcome::nameNotResolved;
        asio::io_context context;
        asio::error_code error;
        const auto addresses = tcp::resolver(context).resolve(
            CORE::toUtf8(host), std::to_string(port), asio::ip::resolver_base::numeric_service, error);
        for (const auto& address : addresses) {
            if (stop && stop->isSet()) return ProbeOutcome::otherFailure;
            error = connect(context, address.endpoint(), stop);
            if (!error) return ProbeOutcome::connected;
        }
        return probeFailure(error);
    }

  private:
    asio::error_code connect(asio::io_context& context, const tcp::endpoint& address,
                             const CORE::coreevent* stop) const {
        tcp::socket socket(context);
        std::optional<asio::error_code> done;
        socket.async_connect(address, [&done](const asio::error_code& error) { done = error; });
        const auto end = steady_clock::now() + limit_;
        const auto stops = [stop] { return stop && stop->isSet(); };
        context.restart();
        while (!done && !stops() && steady_clock::now() < end) context.run_one_for(beforeLookAtStop);
        if (done) return *done;
        asio::error_code ignored;
        socket.close(ignored);
        context.run();  // the operation that was under way ends now, with `done` still there
        return stops() ? asio::error::operation_aborted : asio::error::timed_out;
    }

    std::chrono::milliseconds limit_;
};

}  // namespace

std::shared_ptr<NetworkProbe> makeTcpProbe(std::chrono::milliseconds limit) {
    return std::make_shared<TcpProbe>(limit);
}

ProbeOutcome probeFailure(const std::error_code& error) {
    static const FailureMeaning meanings[] = {
        {asio::error::connection_refused, ProbeOutcome::refused},
        {asio::error::timed_out, ProbeOutcome::timedOut},
        {asio::error::host_unreachable, ProbeOutcome::hostUnreachable},
        {asio::error::network_unreachable, ProbeOutcome::hostUnreachable},
        {asio::error::network_down, ProbeOutcome::hostUnreachable},
        {asio::error::host_not_found, ProbeOutcome::nameNotResolved},
        {asio::error::host_not_found_try_again, ProbeOutcome::nameNotResolved},
        {asio::error::no_data, ProbeOutcome::nameNotResolved},
        {asio::error::no_recovery, ProbeOutcome::nameNotResolved},
        {asio::error::no_descriptors, ProbeOutcome::socketError},
        {asio::error::no_buffer_space, ProbeOutcome::socketError},
        {asio::error::address_family_not_supported, ProbeOutcome::socketError},
        {asio::error::not_socket, ProbeOutcome::socketError},
        {asio::error::access_denied, ProbeOutcome::socketError},
    };
    for (const auto& [known, outcome] : meanings)
        if (error == known) return outcome;
    return ProbeOutcome::otherFailure;
}

}  // namespace wsadmin::platform
