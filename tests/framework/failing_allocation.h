// Makes allocations of one size fail, to see a program that is out of memory. Replaces this program's
// operator new.
#pragma once

#include <cstddef>

namespace wstest {

// On the thread that made it, while it exists; one at a time.
class FailingAllocation {
  public:
    explicit FailingAllocation(std::size_t size);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
    int failures() const;
};

}  // namespace wstest
