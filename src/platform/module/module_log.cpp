#include "platform/module/module_log.h"

#include <utility>

namespace wsadmin {

namespace {

std::wstring& storedName() noexcept {
    static std::wstring name = L"ws_admin";  // until the library is attached
    return name;
}

}  // namespace

const std::wstring& moduleName() noexcept {
    return storedName();
}
void setModuleName(std::wstring name) {
    storedName() = std::move(name);
}

}  // namespace wsadmin
