// Whole frames, their lengths included.
#include "fuzz/round_trip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::roundTrip({data, size});
    return 0;
}
