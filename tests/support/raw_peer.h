// The opening end of a channel that does nothing on its own: what it sends, and when it reads, is the test's
// to say.
#pragma once

#include <optional>
#include <utility>

#include "channel/asio_parts.h"
#include "channel/frame.h"
#include "channel/tls.h"

namespace wstest {

class RawPeer {
  public:
    // Connects and sends the first message of the handshake.
    RawPeer(const asio::ip::tcp::endpoint& host, channel::Ticket ticket) : tls_(std::move(ticket)) {
        socket.connect(host);
        static_cast<void>(end_.start());
        flush();
    }
    // False: the host has closed.
    bool flush() {
        std::error_code error;
        channel::SealedBytes output = std::exchange(leaving_, {});
        end_.takeOutput(output);
        asio::write(socket, asio::buffer(output), error);
        return !error;
    }
    bool receive() {
        std::error_code error;
        channel::Bytes arriving(4096);
        const std::size_t got = socket.read_some(asio::buffer(arriving), error);
        return !error && end_.receive(channel::ByteView(arriving).first(got), plain_);
    }
    bool finishHandshake() {
        while (!end_.open())
            if (!receive() || !flush()) return false;
        return true;
    }
    bool send(const channel::Frame& frame) {
        return end_.send(channel::encodeFrame(frame, {}), leaving_) && flush();
    }
    // The next frame; nothing when the host has closed.
    std::optional<channel::Frame> next() {
        using namespace channel;
        while (true) {
            const ByteView have(plain_);
            const auto head = have.size() < frameHeadSize
                                  ? std::nullopt
                                  : readFrameHead(have.first(frameHeadSize), FrameLimits());
            if (head && have.size() >= head->size()) {
                const auto halves = have.subspan(frameHeadSize, head->size() - frameHeadSize);
                auto frame = decodeFrame(*head, halves, FrameLimits());
                plain_.erase(plain_.begin(), plain_.begin() + static_cast<std::ptrdiff_t>(head->size()));
                return frame;
            }
            if (!receive()) return std::nullopt;
        }
    }

    asio::io_context context;
    asio::ip::tcp::socket socket{context};

  private:
    channel::TlsContext tls_;
    channel::TlsEnd end_{tls_};
    channel::SealedBytes leaving_;
    channel::Bytes plain_;
};

}  // namespace wstest
