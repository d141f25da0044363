#include "framework/core/coreref.h"

namespace CORE {

coreref::~coreref() = default;

long coreref::AddRef() noexcept {
    return count_.fetch_add(1, std::memory_order_relaxed) + 1;
}

long coreref::Release() noexcept {
    // What other holders wrote to the object is seen by the thread that destroys it.
    const long left = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
}

}  // namespace CORE
