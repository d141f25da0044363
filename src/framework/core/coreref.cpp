#include "framework/core/coreref.h"

namespace CORE {

coreref::~coreref() = default;

long coreref::AddRef() noexcept {
    return count_.fetch_add(1, std::memory_order_relaxed) + 1;
}

long coreref::Release() noexcept {
    // acq_rel: the thread that deletes the object sees what other holders wrote to it.
    const long left = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
}

}  // namespace CORE
