// Writing one attribute whether it is there or not.
#pragma once

#include <string>

#include "platform/ldap_session.h"

namespace wsadmin {

// One modification with one value.
Result<void> modifyValue(platform::LdapSession& session, const std::string& dn,
                         platform::LdapModify operation, const std::string& attribute,
                         const std::string& value);

// Adds the value, which fails where the attribute has one, then replaces it; only the replace decides.
Result<void> addThenReplace(platform::LdapSession& session, const std::string& dn,
                            const std::string& attribute, const std::string& value);

}  // namespace wsadmin
