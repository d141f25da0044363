// The parts of the authority on the accounts of this machine and its domain.
#pragma once

#include "platform/account_authority.h"
#include "platform/windows/system_failure.h"

namespace wsadmin::platform::windows {

std::shared_ptr<AccountAuthority> makeAccountAuthority();

// What the platform points to, copied. ERROR_INVALID_SID when it is none.
Result<Sid> sidOf(PSID sid);

// The handle allows queries.
std::unique_ptr<Token> makeToken(UniqueHandle handle);
Result<std::unique_ptr<Token>> tokenOfThread();
Result<std::unique_ptr<Token>> tokenOfProcess();

// As AccountAuthority::logOn.
LogonResult logOnWithoutPassword(const std::wstring& upn, const std::string& origin);

}  // namespace wsadmin::platform::windows
