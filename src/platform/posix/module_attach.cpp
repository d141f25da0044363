#include "platform/module/module_attach.h"

namespace {

[[gnu::constructor]] void attach() {
    wsadmin::onAttach(reinterpret_cast<void*>(&attach));
}

}  // namespace
