// Channels between two ends of this process, over TCP and TLS.
#include <openssl/ssl.h>

#include <future>
#include <list>

#include "channel/channel_fixture.h"
#include "framework/core/coreexception.h"
#include "framework/core/security.h"
#include "support/framework_worker.h"
#include "support/log_capture.h"
#include "support/raw_peer.h"

namespace channel {
namespace {

using wstest::FrameworkWorker;
using wstest::RawPeer;

using Echo = FrameworkWorker<0>;
bool echo(std::wstring_view, const PropertyBag& request, PropertyBag& response) {
    response = request;
    return true;
}

// The worker "echo" for one request, which waits until it is let go or given up.
struct Waiting {
    std::promise<void> begun, go;
    const Echo worker{L"echo",
                      [this](auto, const PropertyBag&, PropertyBag&) {
                          begun.set_value();
                          go.get_future().wait();
                          return true;
                      },
                      [this] { go.set_value(); }};

    // The end of its request, which has begun.
    std::future<RespType> ask(const Open& open, PropertyBag& response) {
        auto sent = std::async(std::launch::async, [&] { return open.send(response); });
        begun.get_future().wait();
        return sent;
    }
};

TEST(Channel, CarriesManyRequestsAtOnceUnchangedToAHostFoundByItsName) {
    const Echo echo(L"echo", [](auto, const PropertyBag& request, PropertyBag& response) {
        response = request;
        response.setError(7, L"as it is");
        return false;
    });
    Host host;
    const Ticket ticket = host.ticket();
    EXPECT_FALSE(host.open(ticket, L"none.invalid"));
    EXPECT_FALSE(host.open(ticket, L"localhost", 1)) << "another kind of channel";
    const Open open(host, ticket, L"localhost");
    std::vector<std::future<void>> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.push_back(std::async(std::launch::async, [&, thread] {
            for (int i = 0; i < 20; ++i) {
                PropertyBag request, response;
                request.setInt(L"number", thread * 1000 + i);
                request.set(L"text", std::wstring(static_cast<std::size_t>(i) * 500, L'x'));
                EXPECT_EQ(open.send(response, request), RespType::notHandled);
                EXPECT_EQ(response.getError(), 7);
                EXPECT_EQ(response.flattenForDisplay(), request.flattenForDisplay());
            }
        }));
    PropertyBag none, cut;
    EXPECT_EQ(open.send(none, {}, L"nobody"), RespType::noWorker);
    EXPECT_EQ(none.getErrorText(), L"Worker nobody is not installed");
    EXPECT_EQ(open.channel->send(L"echo", std::wstring_view(L"ask\0x", 5), {}, cut, {}),
              RespType::notHandled);
    EXPECT_EQ(cut.getErrorText(), L"The name of the operation has a NUL");
}

TEST(Channel, SaysWhyThereIsNoneAndWhoDoesNotAnswer) {
    const wstest::LogCapture log;
    const auto noChannel = [&log](const std::wstring& address, const wchar_t* why) {
        return log.contains(CORE::logWarning, L"No channel to " + address + L": " + why);
    };
    Waiting waiting;
    Host host;
    const Ticket ticket = host.ticket();
    EXPECT_FALSE(host.open(ticket, L"[]"));
    EXPECT_TRUE(noChannel(host.address(L"[]"), L"that is no address"));
    try {
        const ChannelServer second("127.0.0.1", host.server.port(), host.store, {});
        ADD_FAILURE() << "two hosts at one port";
    } catch (const CORE::coreException& error) {
        EXPECT_TRUE(error.text().starts_with(L"Cannot listen at " + host.address() + L": ")) << error.what();
    }
    const Open open(host, ticket);
    PropertyBag response;
    EXPECT_EQ(open.channel->send(L"echo", L"ask", {}, response, {.timeoutMs = 1}), RespType::timedOut);
    EXPECT_EQ(response.getErrorText(), L"Worker echo did not answer operation ask within 1 milliseconds");
}

TEST(Channel, IsNotAwaitedForEver) {
    asio::io_context context;  // whose port takes connections and says nothing
    const asio::ip::tcp::acceptor silent(context, {asio::ip::make_address("127.0.0.1"), 0});
    const TempFolder folder;
    TicketStore store(folder.path() / "t");
    ClientLimits hurried;
    hurried.connecting = std::chrono::milliseconds(1);
    const CarrierInUse carrier(hurried);
    const std::wstring address = L"127.0.0.1:" + std::to_wstring(silent.local_endpoint().port());
    const std::wstring ticket = CORE::toWide(ticketText(store.make(Rights::all, 60, "")).view());
    const wstest::LogCapture log;
    EXPECT_FALSE(MessageFrameWork::System().ConnectChannelByTicket(CORE::channelByTicket, ticket, address));
    EXPECT_TRUE(log.contains(CORE::logWarning, L"No channel to " + address + L": nobody answers"));
}

// All bytes that the host answers to a peer's first ones, and how it ends the connection.
std::string answered(const asio::ip::tcp::endpoint& host, ByteView first) {
    asio::io_context context;
    asio::ip::tcp::socket socket(context);
    socket.connect(host);
    asio::write(socket, asio::buffer(first.data(), first.size()));
    std::error_code error;
    std::string bytes;
    asio::read(socket, asio::dynamic_buffer(bytes), error);
    return std::to_string(bytes.size()) + " bytes" + bytes + ", " + error.message();
}

// The first bytes of a peer of OpenSSL's own making: the groups that it offers (a share of the first alone),
// the ticket whose key it has, and what it asks for beside.
struct Stranger {
    const char* groups = "X25519";
    const Ticket* ticket = nullptr;
    std::uint64_t options = 0;
    std::string_view early{};

    SealedBytes hello() const {
        const std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context(SSL_CTX_new(TLS_client_method()),
                                                                   SSL_CTX_free);
        SSL_CTX_set_min_proto_version(context.get(), TLS1_3_VERSION);
        SSL_CTX_set1_groups_list(context.get(), groups);
        SSL_CTX_set_options(context.get(), options);
        if (ticket) SSL_CTX_set_psk_use_session_callback(context.get(), &useTicket);
        const std::unique_ptr<SSL, void (*)(SSL*)> ssl(SSL_new(context.get()), SSL_free);
        BIO* const out = BIO_new(BIO_s_mem());
        SSL_set_bio(ssl.get(), BIO_new(BIO_s_mem()), out);
        SSL_set_app_data(ssl.get(), this);
        SSL_set_connect_state(ssl.get());
        std::size_t written = 0;
        EXPECT_TRUE(early.empty() ||
                    SSL_write_early_data(ssl.get(), early.data(), early.size(), &written) == 1);
        SSL_do_handshake(ssl.get());
        char* data = nullptr;
        const long size = BIO_get_mem_data(out, &data);
        return {data, data + size};
    }

  private:
    static int useTicket(SSL* ssl, const EVP_MD*, const unsigned char** id, std::size_t* size,
                         SSL_SESSION** session) {
        const auto& [groups, ticket, options, early] = *static_cast<const Stranger*>(SSL_get_app_data(ssl));
        constexpr unsigned char suite[] = {0x13, 0x01};
        *session = SSL_SESSION_new();
        SSL_SESSION_set1_master_key(*session, ticket->key.data(), ticket->key.size());
        SSL_SESSION_set_cipher(*session, SSL_CIPHER_find(ssl, suite));
        SSL_SESSION_set_protocol_version(*session, TLS1_3_VERSION);
        SSL_SESSION_set_max_early_data(*session, static_cast<std::uint32_t>(early.size()));
        *id = reinterpret_cast<const unsigned char*>(ticket->id.data());
        *size = ticket->id.size();
        return 1;
    }
};

SealedBytes helloWith(const Ticket& ticket) {
    return Stranger{.ticket = &ticket}.hello();
}

// The answers stand in the test's report, too.
TEST(Channel, RefusedPeersGetNoByteAndTheSameEnd) {
    Host host;
    const Ticket valid = host.ticket(), expired = host.ticket(Rights::all, 0), revoked = host.ticket();
    Ticket forged = valid, unknown = valid;
    forged.key[0] ^= 1;
    unknown.id[0] = unknown.id[0] == '0' ? '1' : '0';
    host.store.revoke(revoked.id);
    const std::string refused = answered(host.endpoint(), helloWith(expired));
    EXPECT_TRUE(refused.starts_with("0 bytes, ")) << refused;
    for (const auto& [name, hello] : std::initializer_list<std::pair<const char*, SealedBytes>>{
             {"expired", helloWith(expired)},
             {"revoked", helloWith(revoked)},
             {"forged", helloWith(forged)},
             {"unknown", helloWith(unknown)},
             {"no_ticket", Stranger{}.hello()},
             {"no_share", Stranger{.groups = "P-256:X25519"}.hello()},
             {"psk_ke",
              Stranger{.groups = "P-256", .ticket = &valid, .options = SSL_OP_ALLOW_NO_DHE_KEX}.hello()},
             {"early_data", Stranger{.ticket = &valid, .early = "GET"}.hello()},
             {"garbage", SealedBytes(100, 'x')}}) {
        const std::string answer = answered(host.endpoint(), hello);
        RecordProperty(name, answer);
        EXPECT_EQ(answer, refused) << name;
    }
    for (const Ticket& ticket : {expired, revoked, forged, unknown}) EXPECT_FALSE(host.open(ticket));
    const Open open(host, valid);
}

// Nor does a peer that has proved its ticket get another one, to come again without it.
TEST(Channel, EndsItsHandshakeWithoutATicketForResumption) {
    Host known;
    TlsContext hosts([&](std::string_view id) { return known.store.find(id); }), peers(known.ticket());
    TlsEnd host(hosts), peer(peers);
    Bytes plain;
    const auto pass = [&plain](TlsEnd& from, TlsEnd& to) {
        SealedBytes flight;
        from.takeOutput(flight);
        return to.receive(flight, plain);
    };
    ASSERT_TRUE(peer.start() && pass(peer, host) && pass(host, peer) && pass(peer, host));
    ASSERT_TRUE(host.open() && peer.open());
    SealedBytes rest;
    host.takeOutput(rest);
    EXPECT_TRUE(rest.empty());
}

TEST(Channel, EndsWithItsTicket) {
    Waiting waiting;
    ServerLimits limits;
    limits.link.tick = std::chrono::milliseconds(5);
    Host host(limits);
    const Ticket ticket = host.ticket();
    const Open open(host, ticket);
    PropertyBag response;
    auto sent = waiting.ask(open, response);
    EXPECT_TRUE(host.store.revoke(ticket.id));
    EXPECT_EQ(sent.get(), RespType::cancelled);
    EXPECT_TRUE(response.getErrorText().str().starts_with(L"The channel to 127.0.0.1:"));
    response.clear();
    EXPECT_EQ(open.send(response), RespType::cancelled);
    EXPECT_EQ(response.getError(), 1);
}

TEST(Channel, RefusesMoreAndAnswersWhatRunsBeforeItStops) {
    for (const bool ofAllChannels : {false, true}) {
        Waiting waiting;
        ServerLimits limits;
        (ofAllChannels ? limits.requests : limits.requestsOfChannel) = 1;
        Host host(limits);
        const Open open(host, host.ticket()), another(host, host.ticket());
        PropertyBag first, second, third;
        auto sent = waiting.ask(open, first);
        EXPECT_EQ((ofAllChannels ? another : open).send(second), RespType::notHandled);
        EXPECT_EQ(second.getErrorText(), L"There are too many requests at once");
        EXPECT_EQ(host.server.running(), std::vector<std::wstring>{L"ask"});
        host.server.refuse();
        EXPECT_EQ(open.send(third), RespType::notHandled);
        EXPECT_EQ(third.getErrorText(), L"The host is stopping");
        host.server.waitForAnswers();  // what waits is told
        host.server.stop();
        EXPECT_EQ(sent.get(), RespType::handled);
    }
}

TEST(Channel, LeavesOtherTicketsRoomBesideOne) {
    Waiting waiting;
    ServerLimits limits;
    limits.channels = 8;
    limits.requests = 7;
    Host host(limits);
    const Ticket ticket = host.ticket();
    const Open first(host, ticket), second(host, ticket);
    EXPECT_FALSE(host.open(ticket)) << "a third channel";
    const Open another(host, host.ticket());
    PropertyBag kept, response;
    auto sent = waiting.ask(first, kept);
    EXPECT_EQ(second.send(response, {}, L"nobody"), RespType::notHandled);
    EXPECT_EQ(response.getErrorText(), L"There are too many requests at once");
    EXPECT_EQ(another.send(response, {}, L"nobody"), RespType::noWorker);
    // A channel that is closed gives back what it had.
    first.channel->close();
    EXPECT_EQ(sent.get(), RespType::cancelled);
    host.server.waitForAnswers();
    EXPECT_EQ(second.send(response, {}, L"nobody"), RespType::noWorker);
    const Open third(host, ticket);
}

// Unless the request is told, its worker waits for ever.
TEST(Channel, CancelsWhatAPeerThatGoesAwayHasAskedFor) {
    Waiting waiting;
    Host host;
    {
        RawPeer peer(host.endpoint(), host.ticket());
        ASSERT_TRUE(peer.finishHandshake());
        const Frame question{.kind = FrameKind::request, .worker = L"echo", .operation = L"ask"};
        ASSERT_TRUE(peer.send(question));
        waiting.begun.get_future().wait();
        ASSERT_TRUE(peer.send(question));
        EXPECT_EQ(peer.next().value().bag.getErrorText(), L"A request of that number runs already");
    }
    host.server.waitForAnswers();
    EXPECT_TRUE(host.server.running().empty());
}

// Which the opening end tells before it sends; one with greater limits is cut off.
TEST(Channel, CarriesTheLargestRequestAndNotAByteMore) {
    const Echo worker(L"echo", echo);
    Host host;
    const auto asked = [](const Open& open, std::size_t text, std::size_t attached) -> std::wstring {
        const CORE::MsgBinary sent(std::vector<std::uint8_t>(attached, 'y'));
        CORE::MsgBinary answered;
        PropertyBag request, response;
        request.set(L"text", std::string(text, 'x'));
        open.channel->send(L"echo", L"ask", request, response,
                           {.requestBinary = &sent, .responseBinary = &answered});
        if (response.getError() != 0) return response.getErrorText().str();
        const bool same = response.utf8(L"text") == request.utf8(L"text") && answered.bytes() == sent.bytes();
        return same ? L"the same" : L"another";
    };
    Frame question{.kind = FrameKind::request, .number = 1, .worker = L"echo", .operation = L"ask"};
    question.bag.set(L"text", std::string(1 << 16, 'x'));
    const std::size_t beside = encodeFrame(question, {}).size() - frameHeadSize - (1 << 16);
    const std::size_t text = FrameLimits().message - beside, attached = FrameLimits().attachment;
    {
        const Open open(host, host.ticket());
        EXPECT_EQ(asked(open, text, attached), L"the same");
        EXPECT_EQ(asked(open, text + 1, 0), L"The message is too large for a channel");
        EXPECT_EQ(asked(open, 0, attached + 1), L"The message is too large for a channel");
    }
#if !defined(_WIN32)  // Wine does not always end a write to a peer that has closed the connection
    ClientLimits greater;
    greater.link.requests = {.message = 2 * text, .attachment = 2 * attached};
    const CarrierInUse carrier(greater);
    for (const auto& [ofText, ofAttachment] : {std::pair(text + 1, std::size_t{0}), {0, attached + 1}}) {
        const Open open(host, host.ticket());
        EXPECT_TRUE(asked(open, ofText, ofAttachment).starts_with(L"The channel to 127.0.0.1:"));
    }
#endif
    ServerLimits limits;
    limits.link.answers.message = 100;
    Host small(limits);
    const Open open(small, small.ticket());
    EXPECT_EQ(asked(open, 100, 0), L"The answer is too large for a channel");
}

// Neither silent connections keep others out, nor those of somebody who has recorded a peer's first message
// and gets an answer to it, and nothing more.
TEST(Channel, TheOldestHandshakesMakeRoomAndTakeNoChannel) {
    const Echo worker(L"echo", echo);
    ServerLimits limits;
    limits.channels = 12;  // three of one ticket
    limits.handshakes = 4;
    Host host(limits);
    const Ticket ticket = host.ticket();
    RawPeer proved(host.endpoint(), ticket);
    ASSERT_TRUE(proved.receive());
    asio::io_context context;
    std::list<asio::ip::tcp::socket> silent, replays;
    for (int i = 0; i < 6; ++i) silent.emplace_back(context).connect(host.endpoint());
    const Open open(host, ticket);
    char byte = 0;
    std::error_code error;
    EXPECT_EQ(silent.front().read_some(asio::buffer(&byte, 1), error), 0u) << "the oldest is closed";
    EXPECT_TRUE(proved.flush() && proved.finishHandshake());
    EXPECT_TRUE(proved.send({.kind = FrameKind::request, .number = 5, .worker = L"echo"}));
    EXPECT_EQ(proved.next().value().number, 5u);
    const SealedBytes recorded = helloWith(ticket);
    for (int i = 0; i < 5; ++i) {
        replays.emplace_back(context).connect(host.endpoint());
        asio::write(replays.back(), asio::buffer(recorded));
        asio::read(replays.back(), asio::buffer(&byte, 1));
    }
    RawPeer late(host.endpoint(), ticket);
    ASSERT_TRUE(late.receive());
    const Open third(host, ticket);
    const wstest::LogCapture log(CORE::logDebug);
    EXPECT_TRUE(late.send({.kind = FrameKind::request, .number = 5, .worker = L"echo"}));  // of four
    EXPECT_FALSE(late.next());
    std::vector<char> rest(1 << 16);
    asio::read(replays.front(), asio::buffer(rest), error);
    EXPECT_TRUE(error) << "the oldest is closed";
    host.server.stop();
    EXPECT_TRUE(log.contains(CORE::logDebug, L"Connection refused: there are too many channels"));
}

// The host closes a channel that is over a limit; without that limit each of these would go on for ever.
TEST(Channel, EndsBeyondItsLimits) {
    using namespace std::chrono_literals;
    const Echo great(L"echo", [](auto, const PropertyBag&, PropertyBag& response) {
        response.set(L"text", std::wstring(1 << 20, L'x'));
        return true;
    });
    using Behaviour = void (*)(RawPeer&);
    const Behaviour unread = [](RawPeer& peer) {
        Frame question{.kind = FrameKind::request, .worker = L"echo"};
        for (; question.number < 16; ++question.number) peer.send(question);
        while (peer.send({.kind = FrameKind::pong})) {
        }
    };
    const Behaviour silent = [](RawPeer& peer) {
        while (peer.next()) {
        }
    };
    const Behaviour pinged = [](RawPeer& peer) {
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(peer.next().value().kind, FrameKind::ping);
            EXPECT_TRUE(peer.send({.kind = FrameKind::pong}));
        }
    };
    const Behaviour unasked = [](RawPeer& peer) {
        EXPECT_TRUE(peer.send({.kind = FrameKind::response}));
        EXPECT_FALSE(peer.next());
    };
    const struct {
        void (*change)(ServerLimits&);
        Behaviour behave;
        const wchar_t* logged;
        bool opens = true;
    } rows[] = {
        {[](auto& limits) { limits.link.heartbeat = 1ms; }, pinged, L""},
        {[](auto& limits) { limits.link.silence = 1ms; }, silent, L"Channel closed: the peer is silent"},
        {[](auto& limits) { limits.idle = 1ms; }, silent, L"Channel closed: it may not stay open"},
        {[](auto& limits) { limits.link.writing = 1ms; }, unread, L"Channel closed: the peer does not read"},
        {[](auto& limits) { limits.link.unsent = 1 << 20; }, unread,
         L"Channel closed: the peer does not read"},
        {[](auto&) {}, unasked, L"Channel closed: the peer answered what nobody asked"},
        {[](auto& limits) { limits.link.handshake = 1ms; }, silent,
         L"Connection refused: the handshake takes too long", false}};
    for (const auto& [change, behave, logged, opens] : rows) {
        const wstest::LogCapture log;
        {
            ServerLimits limits;
            limits.link.tick = 1ms;
            change(limits);
            Host host(limits);
            RawPeer peer(host.endpoint(), host.ticket());
            ASSERT_TRUE(!opens || peer.finishHandshake());
            behave(peer);
        }
        EXPECT_TRUE(!*logged || log.contains(CORE::logDebug, logged)) << logged;
    }
    ServerLimits one;
    one.channels = 1;
    Host host(one);
    const Open first(host, host.ticket());
    EXPECT_EQ(host.open(host.ticket()), nullptr);
}

TEST(Channel, GivesRemoteMachinesNoThreadAndNoKey) {
    Host host;
    const Open open(host, host.ticket(Rights::agent));
    PropertyBag request, response;
    request.set(L"QueueName", std::wstring_view(L"nobody"));
    request.setInt(L"Timeout", INT_MAX);
    EXPECT_EQ(open.channel->send(CORE::systemWorkerName, L"IsWorkerInstalled", request, response, {}),
              RespType::notHandled);
    open.channel->send(CORE::systemWorkerName, CORE::encryptOperation, request, response, {});
    EXPECT_EQ(response.getError(), 120);
}

}  // namespace
}  // namespace channel
