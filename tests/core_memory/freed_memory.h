// Looks at every block of memory just before it is given back, and counts those that still hold a marker.
#pragma once

#include <cstddef>
#include <string_view>

namespace test {

class FreedMemory {
  public:
    explicit FreedMemory(std::string_view marker);  // one at a time; the marker must outlive it
    ~FreedMemory();
    FreedMemory(const FreedMemory&) = delete;
    FreedMemory& operator=(const FreedMemory&) = delete;
    int blocksWithMarker() const;
};

std::size_t heapBytes();  // what this program holds

}  // namespace test
