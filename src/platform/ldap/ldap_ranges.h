// Attributes with many values: a directory gives at most some 1,500 of them at once.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ldap_session.h"

namespace wsadmin::platform {

// An attribute with values, whole or its first range ("member;range=0-1499"); null where there is none.
const LdapAttribute* findValues(const std::vector<LdapAttribute>& attributes, std::string_view name) noexcept;

// Which of the values the name of an attribute states ("member;range=0-1499", "member;range=1500-*"); a name
// without a range is all of them. Nothing for a range that is none.
struct ValueRange {
    std::size_t first = 0;
    bool last = true;
};
std::optional<ValueRange> valueRange(std::string_view name);

// All values of an attribute of an entry that was read: what it does not hold yet is asked for range by
// range. Fails where the ranges do not join, and where all of them together exceed the session's limits.
Result<std::vector<std::string>> allValues(LdapSession& session, const std::string& dn,
                                           const LdapAttribute& attribute);

}  // namespace wsadmin::platform
