#include "core_memory/freed_memory.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::string_view wanted;
std::atomic<int> found{0};
std::atomic<std::size_t> live{0};

void giveBack(void* block) noexcept {
    live -= malloc_usable_size(block);
    if (block && !wanted.empty()) {
        const std::string_view bytes(static_cast<const char*>(block), malloc_usable_size(block));
        if (bytes.find(wanted) != std::string_view::npos) ++found;
    }
    std::free(block);
}

}  // namespace

void* operator new(std::size_t size) {
    void* block = std::malloc(size > 0 ? size : 1);
    if (!block) throw std::bad_alloc();
    live += malloc_usable_size(block);
    return block;
}
void operator delete(void* block) noexcept {
    giveBack(block);
}
void operator delete(void* block, std::size_t) noexcept {
    giveBack(block);
}

namespace test {

FreedMemory::FreedMemory(std::string_view secret) {
    found = 0;
    wanted = secret;
}
FreedMemory::~FreedMemory() {
    wanted = {};
}
int FreedMemory::blocksWithMarker() const {
    return found;
}

std::size_t heapBytes() {
    return live;
}

}  // namespace test
