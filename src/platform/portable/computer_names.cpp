#include "platform/portable/computer_names.h"

#include "framework/core/corestring.h"

namespace wsadmin::platform {

namespace {

Result<std::wstring> nameOf(CORE::ComputerNameFormat format) {
    const CORE::wstr name = CORE::wstr::getComputerNameEx(format);
    if (name.empty()) return fail(L"The computer's name is unknown");
    return name.str();
}

class Names final : public ComputerNames {
  public:
    Result<std::wstring> netBios() const override { return nameOf(CORE::ComputerNameFormat::netBios); }
    Result<std::wstring> dnsFullyQualified() const override {
        return nameOf(CORE::ComputerNameFormat::dnsFullyQualified);
    }
};

}  // namespace

std::shared_ptr<ComputerNames> makeComputerNames() {
    return std::make_shared<Names>();
}

}  // namespace wsadmin::platform
