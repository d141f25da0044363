// Whether a profile's firewall is on: by group policy first, and by the local setting where no policy says.
#pragma once

#include <optional>

#include "platform/firewall_policy.h"
#include "platform/local_machine.h"

namespace wsadmin::firewall {

struct Profile {
    platform::FirewallProfile bit;
    const wchar_t* name;  // in the policy's registry path and in the log
};
// In the order of the checks.
inline constexpr Profile profiles[] = {
    {platform::firewallDomain, L"DomainProfile"},
    {platform::firewallPrivate, L"PrivateProfile"},
    {platform::firewallPublic, L"PublicProfile"},
};

inline constexpr int noGroupPolicy = -1;

// The value as a number: a text that is none counts as 0, and other kinds of values too.
int groupPolicyOf(const std::optional<platform::RegistryData>& value);
// What the group policy says; nothing where the local setting counts. Any value but 1 leaves it off.
std::optional<bool> onByGroupPolicy(int value) noexcept;

}  // namespace wsadmin::firewall
