#include "netsec/firewall_state.h"

#include "framework/core/corestring.h"

namespace wsadmin::firewall {

int groupPolicyOf(const std::optional<platform::RegistryData>& value) {
    if (!value) return noGroupPolicy;
    if (const auto* number = std::get_if<std::uint32_t>(&*value)) return static_cast<int>(*number);
    const auto* text = std::get_if<std::wstring>(&*value);
    return text ? CORE::wstr(*text).toInt() : 0;
}

std::optional<bool> onByGroupPolicy(int value) noexcept {
    if (value == noGroupPolicy) return std::nullopt;
    return value == 1;
}

}  // namespace wsadmin::firewall
