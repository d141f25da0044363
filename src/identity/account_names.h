// Accounts without a directory: the well-known accounts, which are the same on every machine, and the texts
// of the system's account errors.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/account_authority.h"

namespace wsadmin {

inline constexpr std::wstring_view builtinDomain = L"BUILTIN";

// "SYSTEM", "NT AUTHORITY\SYSTEM", "Everyone", ..., without regard to case.
std::optional<platform::Account> wellKnownAccount(std::wstring_view name);
std::optional<platform::AccountName> wellKnownName(const platform::Sid& sid);
// Local groups that every domain and machine has: below S-1-5-32.
bool isBuiltin(const platform::Sid& sid);
// The groups in the token of a service account such as SYSTEM.
std::vector<platform::Sid> groupsOfServices();

// Empty for a code that is none of AccountError.
std::wstring accountErrorText(int code);

}  // namespace wsadmin
