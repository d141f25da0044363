// Filters of the searches for machines. Values from a request are escaped.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/ldap/sid.h"

namespace wsadmin {

inline constexpr char anyMachine[] = "(|(objectclass=zre-VM)(objectclass=zre-PM))";

// The entry of a pool.
std::string poolDn(std::string_view pool);

// What a machine has to match; a criterion that is not set matches every machine.
struct MachineCriteria {
    std::optional<std::string> name{};  // shown to people
    std::optional<platform::Sid> owner{};
    std::optional<std::string> pool{};

    bool none() const noexcept { return !name && !owner && !pool; }
};
// The machines that match all criteria. Two criteria stand in a group of their own.
std::string machineFilter(const MachineCriteria& criteria);
// The same without that group.
std::string poolMachineFilter(const MachineCriteria& criteria);
// Virtual machines of that name in the pool.
std::string virtualMachineFilter(std::string_view name, std::string_view pool);

}  // namespace wsadmin
