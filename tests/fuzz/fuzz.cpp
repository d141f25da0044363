// What a decoder has taken has to come out of the encoder as something that it takes again, and says the
// same. WS_FUZZ_BAG: the input is the bag of a frame that is right in all else; without it, a whole frame,
// its lengths included.
#include <cstdlib>

#include "framework/core/coreexception.h"
#include "fuzz/whole_frame.h"

constexpr channel::FrameLimits limits{.message = 65536, .attachment = 65536, .depth = 40};

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    channel::Bytes bytes(data, data + size);
#if defined(WS_FUZZ_BAG)
    constexpr std::uint8_t before[] = {0x86, 0x01, 0x01, 0x40, 0x40, 0x00};  // a response without names
    bytes.insert(bytes.begin(), std::begin(before), std::end(before));
    const std::uint64_t lengths = std::uint64_t{bytes.size()} << 32U;  // of the message and the attachment
    for (unsigned shift = 0; shift < 64; shift += 8)
        bytes.insert(bytes.begin(), static_cast<std::uint8_t>(lengths >> shift));
#endif
    const auto frame = fuzz::decodeWhole(bytes, limits);
    if (!frame) return 0;
    const channel::Bytes once = channel::encodeFrame(*frame, limits);
    const auto again = fuzz::decodeWhole(once, limits);
    if (!again || channel::encodeFrame(*again, limits) != once) std::abort();
    return 0;
}
