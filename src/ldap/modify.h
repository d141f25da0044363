// Changes of one attribute of an entry. Failure: as LdapSession::modify. What is logged of it depends on
// whether it counts.
#pragma once

#include <string>
#include <vector>

#include "ldap/on_refusal.h"
#include "platform/ldap_session.h"

namespace wsadmin {

// One modification. Removing without values removes the attribute.
Result<void> modifyAttribute(platform::LdapSession& session, const std::string& dn,
                             platform::LdapModify operation, const std::string& attribute,
                             std::vector<std::string> values = {}, OnRefusal refusal = OnRefusal::logsError);

// Adds the value, which fails where the attribute has one, then replaces it; only the replace decides, and
// only its failure is an error of the log.
Result<void> addThenReplace(platform::LdapSession& session, const std::string& dn,
                            const std::string& attribute, const std::string& value);

}  // namespace wsadmin
