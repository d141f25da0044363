// Accounts by name, as the operating system knows them, or the directories where it knows none.
#pragma once

#include <memory>
#include <string>

#include "ldap/domain_bindings.h"
#include "platform/account_authority.h"
#include "platform/ldap/sid.h"

namespace wsadmin {

// The operating system's authority, or one on the directories of the domain map where the machine has none.
// For one request, on one thread.
std::shared_ptr<platform::AccountAuthority> accountsOf(DomainBindings& bindings);

// The SID of a user by DOMAIN\user, user@domain or a bare name; nothing where the account is not found or is
// not a user's. A user part that is too long for a logon name is looked up as a principal name.
std::optional<platform::Sid> usernameToSid(DomainBindings& bindings, platform::AccountAuthority& accounts,
                                           std::wstring_view username);

// The same by the machine's authority, on a thread without directory services of its own.
std::optional<platform::Sid> userOf(DomainBindings& bindings, std::wstring_view username);

// How an account is shown: "DOMAIN\name", or the name alone where it belongs to no domain.
std::wstring displayName(const platform::AccountName& account);

}  // namespace wsadmin
