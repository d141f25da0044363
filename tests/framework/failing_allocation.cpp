#include "failing_allocation.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t failing = 0;  // 0: no size
thread_local int failed = 0;

}  // namespace

void* operator new(std::size_t size) {
    const bool refuse = failing != 0 && size == failing;
    if (refuse) ++failed;
    void* const block = refuse ? nullptr : std::malloc(size > 0 ? size : 1);
    if (!block) throw std::bad_alloc();
    return block;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return std::malloc(size > 0 ? size : 1);
}
// Not inline, because the compiler warns where it sees free() beside a call of new.
[[gnu::noinline]] void operator delete(void* block) noexcept {
    std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

namespace wstest {

FailingAllocation::FailingAllocation(std::size_t size) {
    failing = size;
    failed = 0;
}
FailingAllocation::~FailingAllocation() {
    failing = 0;
}
int FailingAllocation::failures() const {
    return failed;
}

}  // namespace wstest
