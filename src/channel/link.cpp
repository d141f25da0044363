#include "channel/link.h"

#include <utility>

#include "framework/core/coreexception.h"
#include "framework/core/corestring.h"

namespace channel {

namespace {

constexpr std::size_t networkReadSize = std::size_t{256} << 10;
constexpr std::size_t keptWhenIdle = std::size_t{4} << 20;

}  // namespace

Link::Link(Socket socket, std::shared_ptr<TlsContext> context, const LinkLimits& limits)
    : limits_(limits),
      context_(std::move(context)),
      socket_(std::move(socket)),
      timer_(socket_.get_executor()),
      tls_(*context_) {}

void Link::start(Events events, bool opening) {
    asio::post(socket_.get_executor(),
               [self = shared_from_this(), events = std::move(events), opening]() mutable {
                   self->events_ = std::move(events);
                   self->opening_ = opening;
                   self->begun_ = self->heard_ = self->wrote_ = Clock::now();
                   std::error_code ignored;
                   self->socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
                   if (self->closed_) return self->events_.closed(L"closed");
                   if (opening && !self->tls_.start()) return self->end(L"TLS failed");
                   self->write();
                   self->watch();
                   self->read();
               });
}

bool Link::send(const Frame& frame) {
    std::shared_ptr<Bytes> bytes;
    try {
        const bool answers = frame.kind == FrameKind::response;
        bytes = std::make_shared<Bytes>(encodeFrame(frame, answers ? limits_.answers : limits_.requests));
    } catch (const CORE::coreException&) {
        return false;
    }
    asio::post(socket_.get_executor(), [self = shared_from_this(), bytes] {
        if (self->closed_ || !self->opened_ || self->closing_) return;
        if (self->next_.size() + self->leaving_.size() - self->left_ > self->limits_.unsent)
            return self->end(L"the peer does not read");
        try {
            if (!self->tls_.send(*bytes, self->next_)) return self->end(L"TLS failed");
            self->write();
        } catch (const std::exception&) {  // the peer waits for what cannot be sent
            self->end(L"there is no memory for what is sent");
        }
    });
    return true;
}

void Link::close(std::wstring reason, bool whenSent) {
    asio::post(socket_.get_executor(), [self = shared_from_this(), reason = std::move(reason), whenSent] {
        if (!whenSent || !self->writing_) return self->end(reason);
        self->closing_ = reason;
        self->closedSince_ = Clock::now();
    });
}

void Link::end(const std::wstring& reason) {
    if (std::exchange(closed_, true)) return;
    std::error_code ignored;
    socket_.shutdown(Socket::shutdown_both, ignored);
    socket_.close(ignored);
    timer_.cancel();
    plain_ = {};
    leaving_ = {};
    next_ = {};
    const Events events = std::exchange(events_, {});  // which may hold the link itself
    if (events.closed) events.closed(reason);
}

void Link::read() {
    arriving_.resize(opened_ ? networkReadSize : 4096);
    socket_.async_read_some(asio::buffer(arriving_),
                            [self = shared_from_this()](const std::error_code& error, std::size_t size) {
                                if (self->closed_) return;
                                if (error) return self->end(CORE::toWide(error.message()));
                                self->received(size);
                            });
}

void Link::received(std::size_t size) {
    heard_ = Clock::now();
    if (!tls_.receive(ByteView(arriving_).first(size), plain_)) return end(L"the peer closed or TLS failed");
    if (tls_.proved() && !std::exchange(proved_, true) && events_.proved && !events_.proved())
        return end(L"it may not open");
    if (tls_.open() && !opened_) {
        opened_ = true;
        events_.opened();
    }
    write();
    if (!closed_ && opened_ && !takeFrames()) return end(L"the peer sent what is no frame");
    if (!closed_) read();
}

// False: what stands there is no frame.
bool Link::takeFrames() {
    const FrameLimits& limits = opening_ ? limits_.answers : limits_.requests;
    std::size_t at = 0;
    while (!closed_ && plain_.size() - at >= frameHeadSize) {
        const ByteView rest = ByteView(plain_).subspan(at);
        const auto head = readFrameHead(rest.first(frameHeadSize), limits);
        if (!head) return false;
        if (rest.size() < head->size()) break;
        auto frame = decodeFrame(*head, rest.first(head->size()).subspan(frameHeadSize), limits);
        if (!frame) return false;
        at += head->size();
        if (frame->kind == FrameKind::ping)
            send({.kind = FrameKind::pong});
        else if (frame->kind != FrameKind::pong)
            events_.frame(std::move(*frame));
    }
    if (closed_) return true;
    plain_.erase(plain_.begin(), plain_.begin() + static_cast<std::ptrdiff_t>(at));
    if (plain_.empty() && plain_.capacity() > keptWhenIdle) plain_ = {};
    return true;
}

void Link::write() {
    if (closed_) return;
    tls_.takeOutput(next_);
    if (writing_) return;
    if (left_ == leaving_.size()) {
        leaving_ = std::exchange(next_, {});
        left_ = 0;
    }
    if (leaving_.empty()) {
        if (closing_) end(*closing_);
        return;
    }
    writing_ = true;
    wrote_ = std::max(wrote_, heard_);
    socket_.async_write_some(asio::buffer(leaving_.data() + left_, leaving_.size() - left_),
                             [self = shared_from_this()](const std::error_code& error, std::size_t size) {
                                 self->writing_ = false;
                                 if (self->closed_) return;
                                 if (error) return self->end(CORE::toWide(error.message()));
                                 self->left_ += size;
                                 self->wrote_ = Clock::now();
                                 self->write();
                             });
}

// Why the link has to end by now; empty: it has not.
std::wstring Link::overdue() const {
    const auto now = Clock::now();
    if (!opened_) return now - begun_ > limits_.handshake ? L"the handshake takes too long" : L"";
    if (now - heard_ > limits_.silence) return L"the peer is silent";
    // However little a peer takes at a time, a stop does not wait for it.
    const bool takesTooLong = closing_ && now - closedSince_ > limits_.writing;
    if (takesTooLong || (writing_ && now - wrote_ > limits_.writing)) return L"the peer does not read";
    return {};
}

void Link::watch() {
    timer_.expires_after(limits_.tick);
    timer_.async_wait([self = shared_from_this()](const std::error_code& cancelled) {
        if (cancelled || self->closed_) return;
        if (const std::wstring reason = self->overdue(); !reason.empty()) return self->end(reason);
        if (self->opened_ && self->events_.tick && !self->events_.tick())
            return self->end(L"it may not stay open");
        if (self->opened_ && Clock::now() - self->heard_ > self->limits_.heartbeat)
            self->send({.kind = FrameKind::ping});
        self->watch();
    });
}

}  // namespace channel
