// What a decoder has taken has to come out of the encoder as something that it takes again, and says the
// same.
#pragma once

#include <cstdlib>

#include "channel/frame.h"
#include "framework/core/coreexception.h"

namespace fuzz {

inline std::optional<channel::Frame> decodeWhole(channel::ByteView bytes,
                                                 const channel::FrameLimits& limits) {
    if (bytes.size() < channel::frameHeadSize) return std::nullopt;
    const auto head = channel::readFrameHead(bytes.first(channel::frameHeadSize), limits);
    if (!head || head->size() != bytes.size()) return std::nullopt;
    return channel::decodeFrame(*head, bytes.subspan(channel::frameHeadSize), limits);
}

inline void roundTrip(channel::ByteView bytes) {
    constexpr channel::FrameLimits limits{.message = 65536, .attachment = 65536, .depth = 40};
    const auto frame = decodeWhole(bytes, limits);
    if (!frame) return;
    const channel::Bytes once = channel::encodeFrame(*frame, limits);
    const auto again = decodeWhole(once, limits);
    if (!again || channel::encodeFrame(*again, limits) != once) std::abort();
}

}  // namespace fuzz
