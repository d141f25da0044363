// One end of an open channel: the socket, its TLS, and the frames that go over it.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "channel/asio_parts.h"
#include "channel/frame.h"
#include "channel/tls.h"

namespace channel {

struct LinkLimits {
    FrameLimits requests;
    // A pod of 100,000 machines.
    FrameLimits answers{.message = std::size_t{256} << 20, .memory = std::size_t{1} << 30};
    std::chrono::milliseconds handshake{10'000};  // until the channel is open
    std::chrono::milliseconds heartbeat{15'000};  // without a byte from the peer until it is asked for one
    std::chrono::milliseconds silence{45'000};    // and until it is taken for gone
    std::chrono::milliseconds writing{30'000};    // that a peer may take none of what is sent
    std::chrono::milliseconds tick{1'000};        // between two looks at all of these
    // Bytes; a peer that leaves more is cut off with the next frame.
    std::size_t unsent = std::size_t{256} << 20;
};

// All callbacks run one at a time on threads of the socket's context. The object lives until it is closed.
class Link : public std::enable_shared_from_this<Link> {
  public:
    using Socket = asio::ip::tcp::socket;
    struct Events {
        std::function<bool()> proved;  // the peer has the key, before opened; false closes the link
        std::function<void()> opened;
        std::function<void(Frame)> frame;                        // requests and responses
        std::function<bool()> tick;                              // of an open channel; false closes it
        std::function<void(const std::wstring& reason)> closed;  // once, the last call
    };

    // The socket is connected, and its executor is a strand. The context outlives the link.
    Link(Socket socket, std::shared_ptr<TlsContext> context, const LinkLimits& limits);

    void start(Events events, bool opening);
    // Any thread. False: the frame is larger than the limits. What a closed link gets is dropped.
    bool send(const Frame& frame);
    // Any thread; does not wait. Unsent bytes are dropped, unless `whenSent`: then after limits.writing.
    void close(std::wstring reason, bool whenSent = false);

    const std::optional<TicketRecord>& ticket() const noexcept { return tls_.ticket(); }  // in callbacks
    const LinkLimits& limits() const noexcept { return limits_; }

  private:
    using Clock = std::chrono::steady_clock;

    void read();
    void received(std::size_t size);
    bool takeFrames();
    void write();
    void watch();
    std::wstring overdue() const;
    void end(const std::wstring& reason);

    const LinkLimits limits_;
    const std::shared_ptr<TlsContext> context_;
    Socket socket_;
    asio::steady_timer timer_;
    TlsEnd tls_;
    Events events_;
    SealedBytes arriving_;
    Bytes plain_;                 // decrypted, from the beginning of a frame on
    SealedBytes leaving_, next_;  // on their way, and waiting for that
    std::size_t left_ = 0;        // of leaving_: where what has not left begins
    bool opening_ = false, writing_ = false, proved_ = false, opened_ = false, closed_ = false;
    std::optional<std::wstring> closing_;  // when all is sent
    Clock::time_point begun_, heard_, wrote_, closedSince_;
};

}  // namespace channel
