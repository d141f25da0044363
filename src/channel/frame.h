// What goes over a channel: frames, each a message or an answer. On the wire a frame is the lengths of its
// two halves (four bytes each, the most significant first), an array in CBOR, and the attachment as it is.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "channel/wiped_bytes.h"
#include "framework/core/message.h"

namespace channel {

enum class FrameKind : unsigned { request, response, ping, pong };

struct Frame {
    FrameKind kind = FrameKind::ping;
    std::uint64_t number = 0;  // of a request, chosen by its sender; of what belongs to it
    std::wstring worker{}, operation{};
    CORE::RespType type = CORE::RespType::notHandled;
    CORE::PropertyBag bag{};
    std::vector<std::uint8_t> attachment{};
};

struct FrameLimits {
    std::size_t message = std::size_t{16} << 20;     // bytes of the CBOR
    std::size_t attachment = std::size_t{16} << 20;  // bytes
    std::size_t depth = 150;                         // of bags in bags
    std::size_t memory = std::size_t{16} << 20;      // bytes that the bags take beside their text, about
};

inline constexpr std::size_t frameHeadSize = 8;
struct FrameHead {
    std::size_t message = 0, attachment = 0;
    std::size_t size() const noexcept { return frameHeadSize + message + attachment; }
};

// Throws coreException when the frame is larger than the limits.
Bytes encodeFrame(const Frame& frame, const FrameLimits& limits);

// `head` has frameHeadSize bytes. Nothing: the frame is larger than the limits.
std::optional<FrameHead> readFrameHead(ByteView head, const FrameLimits& limits);
// Both halves, without the head. Nothing: that is no frame.
std::optional<Frame> decodeFrame(const FrameHead& head, ByteView halves, const FrameLimits& limits);

}  // namespace channel
