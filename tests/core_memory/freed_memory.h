// Looks at every block of memory just before it is given back, and counts those that still hold a marker.
#pragma once

#include <cstddef>
#include <string_view>

namespace test {

// The secret that is looked for. Literals, so that looking for them leaves no copies on the heap.
inline constexpr char marker[] = "correct-horse-battery-staple";
inline constexpr wchar_t wideMarker[] = L"correct-horse-battery-staple";
inline std::string_view wideMarkerBytes() {
    return {reinterpret_cast<const char*>(wideMarker), sizeof(wideMarker) - sizeof(wchar_t)};
}

class FreedMemory {
  public:
    explicit FreedMemory(std::string_view secret);  // one at a time; the secret must outlive it
    ~FreedMemory();
    FreedMemory(const FreedMemory&) = delete;
    FreedMemory& operator=(const FreedMemory&) = delete;
    int blocksWithMarker() const;
};

std::size_t heapBytes();  // what this program holds

}  // namespace test
