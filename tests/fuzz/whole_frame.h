// A frame with its head in one block of bytes; nothing where the bytes are no frame, or more or less than
// one.
#pragma once

#include "channel/frame.h"

namespace fuzz {

inline std::optional<channel::Frame> decodeWhole(channel::ByteView bytes,
                                                 const channel::FrameLimits& limits) {
    if (bytes.size() < channel::frameHeadSize) return std::nullopt;
    const auto head = channel::readFrameHead(bytes.first(channel::frameHeadSize), limits);
    if (!head || head->size() != bytes.size()) return std::nullopt;
    return channel::decodeFrame(*head, bytes.subspan(channel::frameHeadSize), limits);
}

}  // namespace fuzz
