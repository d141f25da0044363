// The system functions of strings that need more than one call of the system. Internal to the framework.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace CORE::machine {

std::wstring expandEnvironment(std::wstring_view text);
std::wstring newGuid();
// The value in the policy key that overrides this one; nothing when there is none.
std::optional<std::wstring> policyText(std::wstring_view key, std::wstring_view name);

}  // namespace CORE::machine
