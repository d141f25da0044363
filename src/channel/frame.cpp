#include "channel/frame.h"

#include <algorithm>
#include <climits>
#include <utility>

#include "channel/cbor.h"
#include "framework/core/coreexception.h"

namespace channel {

namespace {

using CORE::PropertyBag;

constexpr std::size_t frameItems = 6;

// What is left of a frame's limits. An entry of two bytes, or a bag of three, becomes this much in memory.
struct Room {
    explicit Room(const FrameLimits& limits) : depth(limits.depth), memory(limits.memory) {}
    // For a bag of so many entries, until its end.
    bool enter(std::size_t entries) {
        constexpr std::size_t ofEntry = 32, ofBag = 384;
        if (depth == 0 || memory < ofBag || (memory - ofBag) / ofEntry < entries) return false;
        --depth;
        memory -= ofBag + entries * ofEntry;
        return true;
    }
    void leave() { ++depth; }

    std::size_t depth, memory;
};

// The form in which bags keep their text, which loses neither lone surrogates nor NULs.
std::string keptText(std::wstring_view text) {
    PropertyBag bag;
    bag.add(L"text", text);
    return std::string(bag.utf8(std::size_t{0}));
}

std::wstring textKept(std::string_view utf8) {
    PropertyBag bag;
    bag.addUtf8("text", utf8);
    return bag.get(std::size_t{0}).str();
}

// [error code, error text, name, value, name, value ...], a value being a text or such an array.
void write(CborWriter& to, const PropertyBag& bag, Room& room) {
    if (!room.enter(bag.size()))
        throw CORE::coreException(L"The bags are too many or nested too deep for a channel");
    to.array(2 + 2 * bag.size());
    to.integer(bag.getError());
    to.bytes(keptText(bag.getErrorText()));
    for (std::size_t at = 0; at < bag.size(); ++at) {
        to.bytes(bag.nameUtf8(at));
        if (bag.isBag(at))
            write(to, bag.getBag(at), room);
        else
            to.bytes(bag.utf8(at));
    }
    room.leave();
}

std::optional<PropertyBag> readBag(CborReader& from, Room& room) {
    const auto items = from.array();
    if (!items || *items < 2 || *items % 2 != 0 || !room.enter(*items / 2 - 1)) return std::nullopt;
    const auto code = from.integer();
    const auto text = from.bytes();
    if (!code || *code < INT_MIN || *code > INT_MAX || !text) return std::nullopt;
    PropertyBag bag;
    for (std::size_t left = *items - 2; left > 0; left -= 2) {
        const auto name = from.bytes();
        if (!name) return std::nullopt;
        if (from.atArray()) {
            auto nested = readBag(from, room);
            if (!nested) return std::nullopt;
            bag.addBagUtf8(*name, std::move(*nested));
        } else {
            const auto value = from.bytes();
            if (!value) return std::nullopt;
            bag.addUtf8(*name, *value);
        }
    }
    if (*code != 0) bag.setError(static_cast<int>(*code), textKept(*text));
    room.leave();
    return bag;
}

std::optional<Frame> readFrame(CborReader& from, Room room) {
    if (from.array() != frameItems) return std::nullopt;
    const auto kind = from.number(), number = from.number();
    const auto worker = from.bytes(), operation = from.bytes();
    const auto type = from.number();
    if (!kind || *kind > static_cast<unsigned>(FrameKind::pong) || !number || !worker || !operation ||
        !type || *type > static_cast<unsigned>(CORE::RespType::cancelled))
        return std::nullopt;
    auto bag = readBag(from, room);
    if (!bag || !from.atEnd()) return std::nullopt;
    Frame frame;
    frame.kind = static_cast<FrameKind>(*kind);
    frame.number = *number;
    frame.worker = textKept(*worker);
    frame.operation = textKept(*operation);
    frame.type = static_cast<CORE::RespType>(*type);
    frame.bag = std::move(*bag);
    return frame;
}

void writeLength(std::uint8_t* at, std::size_t length) {
    for (int shift = 24; shift >= 0; shift -= 8) *at++ = static_cast<std::uint8_t>(length >> shift);
}

std::size_t readLength(ByteView bytes) {
    std::size_t length = 0;
    for (const std::uint8_t byte : bytes.first(4)) length = length << 8 | byte;
    return length;
}

}  // namespace

Bytes encodeFrame(const Frame& frame, const FrameLimits& limits) {
    Bytes bytes;
    constexpr std::size_t aSmallBag = 512;
    bytes.reserve(aSmallBag + frame.attachment.size());
    bytes.resize(frameHeadSize);
    CborWriter to(bytes);
    to.array(frameItems);
    to.number(static_cast<unsigned>(frame.kind));
    to.number(frame.number);
    to.bytes(keptText(frame.worker));
    to.bytes(keptText(frame.operation));
    to.number(static_cast<unsigned>(frame.type));
    Room room(limits);
    write(to, frame.bag, room);
    const std::size_t size = bytes.size() - frameHeadSize;
    if (size > limits.message || frame.attachment.size() > limits.attachment)
        throw CORE::coreException(L"The message is too large for a channel");
    writeLength(bytes.data(), size);
    writeLength(bytes.data() + 4, frame.attachment.size());
    bytes.resize(bytes.size() + frame.attachment.size());  // "insert" would take byte by byte
    std::ranges::copy(frame.attachment, bytes.end() - static_cast<std::ptrdiff_t>(frame.attachment.size()));
    return bytes;
}

std::optional<FrameHead> readFrameHead(ByteView head, const FrameLimits& limits) {
    const FrameHead lengths{readLength(head), readLength(head.subspan(4))};
    if (lengths.message > limits.message || lengths.attachment > limits.attachment) return std::nullopt;
    return lengths;
}

std::optional<Frame> decodeFrame(const FrameHead& head, ByteView halves, const FrameLimits& limits) {
    CborReader from(halves.first(head.message));
    const ByteView attachment = halves.subspan(head.message);
    try {
        auto frame = readFrame(from, Room(limits));
        if (frame) frame->attachment.assign(attachment.begin(), attachment.end());
        return frame;
    } catch (const CORE::coreException&) {
        return std::nullopt;  // more than a bag takes: a name of 65,536 bytes, say
    }
}

}  // namespace channel
