// What a domain controller does with accounts beyond what it does with any entry: what it gives to new users,
// how it takes passwords, and who binds with them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/lab/store.h"

namespace wsadmin::platform::lab {

// Makes an entry that is added below that parent a whole account: a user gets the SID, account control,
// primary group, category and password time that it does not bring. Fails (68) where the domain has an
// account of that logon name.
Result<void> completeAccount(Store& store, NodeId parent, StoredEntry& entry);

// The password that a client sends as "unicodePwd", UTF-16 in quotation marks, as UTF-8; 53 where it is none.
Result<std::string> sentPassword(std::string_view sent);

// Whether the account that binds may: with its own password, and unless it is disabled. It is named by DN,
// principal name, DOMAIN\name or logon name. Nothing where the directory has no such account, or one without
// a password.
std::optional<bool> admitsAccount(const Store& store, const LdapCredentials& credentials);

}  // namespace wsadmin::platform::lab
