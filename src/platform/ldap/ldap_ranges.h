// Attributes with many values: a directory gives at most some 1,500 of them at once.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ldap/ldap_limits.h"

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

// Whether a range is the attribute's last one. Fails (84) where it does not begin with that value, or has
// none.
Result<bool> isLastRange(const LdapAttribute& range, std::size_t first);

// An attribute's name without its range.
std::string_view withoutRange(std::string_view name) noexcept;

// The range of values that begins with that one, as long as the directory makes it. Fails with 16 where the
// entry has no such values.
Result<LdapAttribute> readRange(LdapSession& session, const std::string& dn, const std::string& attribute,
                                std::size_t first, LdapAllowance& allowance);

// All values of an attribute of an entry that was read: what it does not hold yet is asked for range by
// range. Fails where the ranges do not join, and where all of them together exceed the session's limits.
Result<std::vector<std::string>> allValues(LdapSession& session, const std::string& dn,
                                           const LdapAttribute& attribute);

}  // namespace wsadmin::platform
