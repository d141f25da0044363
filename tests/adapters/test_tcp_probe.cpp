// The probe of servers with real sockets, on loopback addresses of the run's own: other runs have the same
// port.
#include "framework/core/asio_parts.h"  // first: it says how asio allocates
//
#include <gtest/gtest.h>

#include <asio/ip/tcp.hpp>
#include <list>
#include <random>
#include <thread>

#include "framework/core/corestring.h"
#include "platform/portable/tcp_probe.h"

namespace wsadmin::platform {
namespace {

using asio::ip::tcp;
using namespace std::chrono_literals;

constexpr std::uint16_t port = 22389;
const std::string network = "127.78." + std::to_string(std::random_device{}() % 256) + ".";

// An acceptor that accepts nobody.
tcp::acceptor listening(asio::io_context& context, const std::string& address, int backlog) {
    tcp::acceptor acceptor(context, tcp::v4());
    acceptor.set_option(tcp::acceptor::reuse_address(true));
    acceptor.bind({asio::ip::make_address(address), port});
    acceptor.listen(backlog);
    return acceptor;
}

TEST(TcpProbe, MeetsServersGivesUpSilentOnesAndStopsAtOnce) {
    asio::io_context context;
    const auto probe = makeTcpProbe(200ms);
    EXPECT_EQ(probe->probe(CORE::toWide(network + "1"), port, nullptr), ProbeOutcome::refused);
    const auto open = listening(context, network + "2", 16);
    EXPECT_EQ(probe->probe(CORE::toWide(network + "2"), port, nullptr), ProbeOutcome::connected);
    for (const std::wstring name : {L"", L"a host", L"nobody..example"})
        EXPECT_EQ(probe->probe(name, port, nullptr), ProbeOutcome::nameNotResolved) << CORE::toUtf8(name);
    const auto silent = listening(context, network + "3", 0);
    std::list<tcp::socket> sockets;  // fill the backlog: the further ones stay without an answer
    for (int i = 0; i < 16; ++i)
        sockets.emplace_back(context).async_connect(silent.local_endpoint(), [](const auto&) {});
    context.poll();
    EXPECT_EQ(makeTcpProbe(100ms)->probe(CORE::toWide(network + "3"), port, nullptr), ProbeOutcome::timedOut);
    CORE::coreevent stop;
    std::jthread stopper([&stop] { stop.set(); });
    EXPECT_EQ(makeTcpProbe(1h)->probe(CORE::toWide(network + "3"), port, &stop), ProbeOutcome::otherFailure);
}

TEST(TcpProbe, TellsFailuresApart) {
    namespace error = asio::error;
    const std::pair<std::vector<std::error_code>, ProbeOutcome> meanings[] = {
        {{error::connection_refused}, ProbeOutcome::refused},
        {{error::timed_out}, ProbeOutcome::timedOut},
        {{error::host_unreachable, error::network_unreachable}, ProbeOutcome::hostUnreachable},
        {{error::host_not_found, error::host_not_found_try_again, error::no_data},
         ProbeOutcome::nameNotResolved},
        {{error::no_descriptors, error::address_family_not_supported}, ProbeOutcome::socketError},
        {{error::connection_reset, {}}, ProbeOutcome::otherFailure},
    };
    for (const auto& [errors, outcome] : meanings)
        for (const auto& one : errors) EXPECT_EQ(probeFailure(one), outcome) << one.message();
}

}  // namespace
}  // namespace wsadmin::platform
