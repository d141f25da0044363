// The bag of a frame that is right in all else.
#include "fuzz/round_trip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::uint8_t before[] = {0x86, 0x01, 0x01, 0x40, 0x40, 0x00};  // a response without names
    const std::size_t message = sizeof(before) + size;
    channel::Bytes bytes{static_cast<std::uint8_t>(message >> 24),
                         static_cast<std::uint8_t>(message >> 16),
                         static_cast<std::uint8_t>(message >> 8),
                         static_cast<std::uint8_t>(message),
                         0,
                         0,
                         0,
                         0};
    bytes.insert(bytes.end(), std::begin(before), std::end(before));
    bytes.insert(bytes.end(), data, data + size);
    fuzz::roundTrip(bytes);
    return 0;
}
