#include "channel/channel_server.h"

#include <algorithm>
#include <list>
#include <map>
#include <mutex>
#include <set>
#include <utility>

#include "channel/context_threads.h"
#include "framework/core/coreexception.h"
#include "framework/core/log.h"
#include "framework/core/message.h"

namespace channel {

namespace {

constexpr std::size_t threadCount = 2;
constexpr std::wstring_view source = L"mfwhost";
using Clock = std::chrono::steady_clock;

// What the open channels of one ticket have. No ticket takes more than a quarter of a limit, so that its
// holder leaves room for the others.
struct Share {
    std::size_t channels = 0, requests = 0;
};
std::size_t shareOf(std::size_t limit) {
    return std::max<std::size_t>(limit / 4, 1);
}

// A request that runs, until its worker has answered.
struct Running {
    std::wstring operation;
    std::uint64_t message = 0;  // of the framework
};

}  // namespace

class ChannelServer::Implementation : public std::enable_shared_from_this<Implementation> {
  public:
    Implementation(const TicketStore& tickets, Permit permit, const ServerLimits& limits)
        : limits_(limits),
          tickets_(tickets),
          permit_(std::move(permit)),
          context_(std::make_shared<TlsContext>([this](std::string_view id) { return tickets_.find(id); })),
          accepting_(threads_.strand()),
          acceptor_(accepting_) {}

    void listen(const std::string& address, std::uint16_t port);
    std::uint16_t port() const noexcept { return port_; }
    void refuse();
    std::vector<std::wstring> running() const;
    std::size_t channels() const {
        const std::lock_guard lock(mutex_);
        return channels_;
    }
    void waitForAnswers() { messages_.waitForAll(); }
    void stop();

  private:
    // One connection. Its members are the link's: they are used in its callbacks.
    struct Peer {
        std::shared_ptr<Link> link;
        Share* share = nullptr;                    // of its ticket, as long as it is among the channels
        std::map<std::uint64_t, Running> running;  // by the peer's number
        Clock::time_point lastRequest = Clock::now();
    };
    using PeerRef = std::shared_ptr<Peer>;

    using Peers = std::list<PeerRef>;  // oldest first

    void accept();
    void take(asio::ip::tcp::socket socket);
    void wait(const PeerRef& peer, Peers& among) const;
    bool proved(const PeerRef& peer);
    void opened(const PeerRef& peer);
    void closed(const PeerRef& peer, const std::wstring& reason);
    bool mayOpen(const Peer& peer);
    bool mayStay(Peer& peer) const;
    void received(const PeerRef& peer, Frame frame);
    void request(const PeerRef& peer, Frame frame);
    void answered(const PeerRef& peer, std::uint64_t number, const Frame& answer);
    std::optional<std::wstring> refusal(const Peer& peer, const Frame& frame);

    const ServerLimits limits_;
    const TicketStore& tickets_;
    const Permit permit_;
    ContextThreads threads_{threadCount};
    CORE::ThreadGroup messages_{source};  // counts requests until their answers are on their way
    const std::shared_ptr<TlsContext> context_;
    asio::strand<asio::io_context::executor_type> accepting_;
    asio::ip::tcp::acceptor acceptor_;
    std::uint16_t port_ = 0;

    mutable std::mutex mutex_;
    std::set<PeerRef> peers_;
    Peers handshaking_, proved_;  // not open yet: before and after they have proved a ticket
    std::size_t channels_ = 0;
    std::map<std::string, Share> shares_;  // by the identity of a ticket that is or was valid
    std::multiset<std::wstring> running_;
    bool refuses_ = false;
    bool stopped_ = false;  // by the one thread that stops it
};

void ChannelServer::Implementation::listen(const std::string& address, std::uint16_t port) {
    try {
        const asio::ip::tcp::endpoint endpoint(asio::ip::make_address(address), port);
        acceptor_.open(endpoint.protocol());
#if !defined(_WIN32)  // there it would let another program take the port too
        acceptor_.set_option(asio::socket_base::reuse_address(true));
#endif
        acceptor_.bind(endpoint);
        acceptor_.listen();
        port_ = acceptor_.local_endpoint().port();
    } catch (const std::system_error& error) {
        throw CORE::coreException(L"Cannot listen at " + CORE::toWide(address) + L":" +
                                  std::to_wstring(port) + L": " + CORE::toWide(error.code().message()));
    }
    accept();
}

void ChannelServer::Implementation::accept() {
    acceptor_.async_accept(threads_.strand(), [self = shared_from_this()](const std::error_code& error,
                                                                          asio::ip::tcp::socket socket) {
        if (error == asio::error::operation_aborted || !self->acceptor_.is_open()) return;
        if (!error) {
            self->accept();  // first, because taking one may throw
            return self->take(std::move(socket));
        }
        // Out of descriptors, say: the next try is a moment later.
        const auto timer =
            std::make_shared<asio::steady_timer>(self->accepting_, std::chrono::milliseconds(100));
        timer->async_wait([self, timer](const std::error_code&) {
            if (self->acceptor_.is_open()) self->accept();
        });
    });
}

void ChannelServer::Implementation::take(asio::ip::tcp::socket socket) {
    const auto peer = std::make_shared<Peer>();
    peer->link = std::make_shared<Link>(std::move(socket), context_, limits_.link);
    {
        const std::lock_guard lock(mutex_);
        if (refuses_) return;
        peers_.insert(peer);
        wait(peer, handshaking_);
    }
    const auto self = shared_from_this();
    peer->link->start({.proved = [self, peer] { return self->proved(peer); },
                       .opened = [self, peer] { self->opened(peer); },
                       .frame = [self, peer](Frame frame) { self->received(peer, std::move(frame)); },
                       .tick = [self, peer] { return self->mayStay(*peer); },
                       .closed = [self, peer](const std::wstring& reason) { self->closed(peer, reason); }},
                      false);
}

// The oldest makes room. Called with the lock held.
void ChannelServer::Implementation::wait(const PeerRef& peer, Peers& among) const {
    among.push_back(peer);
    if (among.size() <= limits_.handshakes) return;
    among.front()->link->close(L"there are too many handshakes");
    among.pop_front();
}

// From here on connections without a ticket do not push it out. Somebody who has recorded the first message
// of another peer comes as far with it, but no further: such a connection takes no channel.
bool ChannelServer::Implementation::proved(const PeerRef& peer) {
    const std::lock_guard lock(mutex_);
    handshaking_.remove(peer);
    wait(peer, proved_);
    return mayOpen(*peer);
}

// Called with the lock held.
bool ChannelServer::Implementation::mayOpen(const Peer& peer) {
    return channels_ < limits_.channels &&
           shares_[peer.link->ticket()->ticket.id].channels < shareOf(limits_.channels);
}

void ChannelServer::Implementation::opened(const PeerRef& peer) {
    {
        const std::lock_guard lock(mutex_);
        proved_.remove(peer);
        if (mayOpen(*peer)) {
            peer->share = &shares_[peer->link->ticket()->ticket.id];
            ++peer->share->channels;
            ++channels_;
        }
    }
    if (!peer->share) return peer->link->close(L"there are too many channels");
    CORE::__SysMessage(CORE::logInfo, source, L"Channel opened with ticket %s",
                       peer->link->ticket()->ticket.id);
}

void ChannelServer::Implementation::closed(const PeerRef& peer, const std::wstring& reason) {
    std::map<std::uint64_t, Running> left;
    Share* share = nullptr;
    {
        const std::lock_guard lock(mutex_);
        handshaking_.remove(peer);
        proved_.remove(peer);
        peers_.erase(peer);
        left = std::exchange(peer->running, {});
        share = std::exchange(peer->share, nullptr);
        if (share) {
            --channels_;
            --share->channels;
            share->requests -= left.size();
        }
        for (const auto& [number, one] : left) running_.erase(running_.find(one.operation));
    }
    for (const auto& [number, one] : left) CORE::MessageHandler::CancelMsg(one.message);
    CORE::__SysMessage(CORE::logDebug, source, share ? L"Channel closed: %s" : L"Connection refused: %s",
                       reason);
    peer->link.reset();
}

// Also where the ticket was revoked or has expired since the channel was opened.
bool ChannelServer::Implementation::mayStay(Peer& peer) const {
    {
        const std::lock_guard lock(mutex_);
        if (peer.running.empty() && Clock::now() - peer.lastRequest > limits_.idle) return false;
    }
    return tickets_.find(peer.link->ticket()->ticket.id).has_value();
}

void ChannelServer::Implementation::received(const PeerRef& peer, Frame frame) {
    if (frame.kind == FrameKind::request) return request(peer, std::move(frame));
    peer->link->close(L"the peer answered what nobody asked");
}

// Why the request is not delivered. Called with the lock held.
std::optional<std::wstring> ChannelServer::Implementation::refusal(const Peer& peer, const Frame& frame) {
    if (refuses_) return L"The host is stopping";
    if (peer.running.contains(frame.number)) return L"A request of that number runs already";
    if (!peer.share) return L"There are too many channels";
    if (peer.running.size() >= limits_.requestsOfChannel || running_.size() >= limits_.requests ||
        peer.share->requests >= shareOf(limits_.requests))
        return L"There are too many requests at once";
    return std::nullopt;
}

void ChannelServer::Implementation::request(const PeerRef& peer, Frame frame) {
    const TicketRecord& ticket = *peer->link->ticket();
    // A revoked ticket ends its channels now, and not at the next look.
    if (!tickets_.find(ticket.ticket.id)) return peer->link->close(L"its ticket is not valid any more");
    auto failure = permit_(ticket.rights, frame.worker, frame.operation);
    if (!failure) {
        const std::lock_guard lock(mutex_);
        peer->lastRequest = Clock::now();
        failure = refusal(*peer, frame);
        if (!failure) {
            peer->running.emplace(frame.number, Running{frame.operation, 0});
            running_.insert(frame.operation);
            ++peer->share->requests;
        }
    }
    const auto refuseIt = [&](const std::wstring& sentence) {
        Frame answer{.kind = FrameKind::response, .number = frame.number};
        answer.bag.setError(1, sentence);
        peer->link->send(answer);
    };
    if (failure) return refuseIt(*failure);

    const CORE::MsgBinary attachment(std::move(frame.attachment));
    const auto answerBinary = std::make_shared<CORE::MsgBinary>();
    const auto done = [self = shared_from_this(), peer, number = frame.number, answerBinary](
                          CORE::RespType type, CORE::PropertyBag& response) {
        Frame answer{.kind = FrameKind::response, .number = number, .type = type};
        answer.bag = std::move(response);
        answer.attachment = std::move(answerBinary->bytes());
        self->answered(peer, number, answer);
    };
    const std::uint64_t message =
        CORE::MessageHandler::SendAsyncMsg(frame.worker, frame.operation, std::move(frame.bag), done,
                                           {.fromChannel = ticket.rights == Rights::agent,
                                            .requestBinary = &attachment,
                                            .responseBinary = answerBinary.get(),
                                            .callbackOwner = &messages_});
    if (message == 0) {
        Frame answer{.kind = FrameKind::response, .number = frame.number};
        answer.bag.setError(1, L"The framework has no thread for the message");
        return answered(peer, frame.number, answer);
    }
    bool cancels = false;  // refuse came before the message had its number
    {
        const std::lock_guard lock(mutex_);
        const auto found = peer->running.find(frame.number);
        if (found != peer->running.end()) found->second.message = message;
        cancels = refuses_;
    }
    if (cancels) CORE::MessageHandler::CancelMsg(message);
}

void ChannelServer::Implementation::answered(const PeerRef& peer, std::uint64_t number, const Frame& answer) {
    std::shared_ptr<Link> link;
    {
        const std::lock_guard lock(mutex_);
        const auto found = peer->running.find(number);
        if (found == peer->running.end()) return;  // the peer has gone
        running_.erase(running_.find(found->second.operation));
        peer->running.erase(found);
        --peer->share->requests;
        peer->lastRequest = Clock::now();
        link = peer->link;
    }
    try {
        if (link->send(answer)) return;
        Frame tooLarge{.kind = FrameKind::response, .number = number};
        tooLarge.bag.setError(1, L"The answer is too large for a channel");
        link->send(tooLarge);
    } catch (const std::exception&) {  // without an answer the peer would wait for ever
        link->close(L"there is no memory for an answer");
    }
}

void ChannelServer::Implementation::refuse() {
    std::vector<std::uint64_t> messages;
    {
        const std::lock_guard lock(mutex_);
        refuses_ = true;
        for (const PeerRef& peer : peers_)
            for (const auto& [number, one] : peer->running) messages.push_back(one.message);
    }
    for (const std::uint64_t message : messages) CORE::MessageHandler::CancelMsg(message);
    asio::post(accepting_, [self = shared_from_this()] {
        std::error_code ignored;
        self->acceptor_.close(ignored);
    });
}

std::vector<std::wstring> ChannelServer::Implementation::running() const {
    const std::lock_guard lock(mutex_);
    return {running_.begin(), running_.end()};
}

void ChannelServer::Implementation::stop() {
    if (std::exchange(stopped_, true)) return;
    refuse();
    std::vector<std::shared_ptr<Link>> links;
    {
        const std::lock_guard lock(mutex_);
        for (const PeerRef& peer : peers_) links.push_back(peer->link);
    }
    for (const auto& link : links) link->close(L"the host is stopping", true);
    threads_.join();
    messages_.waitForAll();
}

ChannelServer::ChannelServer(const std::string& address, std::uint16_t port, const TicketStore& tickets,
                             Permit permit, const ServerLimits& limits)
    : implementation_(std::make_shared<Implementation>(tickets, std::move(permit), limits)) {
    implementation_->listen(address, port);
}

ChannelServer::~ChannelServer() {
    stop();
}

std::uint16_t ChannelServer::port() const noexcept {
    return implementation_->port();
}

void ChannelServer::refuse() {
    implementation_->refuse();
}

std::vector<std::wstring> ChannelServer::running() const {
    return implementation_->running();
}

std::size_t ChannelServer::channels() const {
    return implementation_->channels();
}

void ChannelServer::waitForAnswers() {
    implementation_->waitForAnswers();
}

void ChannelServer::stop() {
    implementation_->stop();
}

}  // namespace channel
