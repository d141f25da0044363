// Name-value pairs: values of the form name "=" value in a multi-valued attribute. Names compare without
// regard to case; an attribute holds at most one value per name.
#pragma once

#include <string>
#include <string_view>

#include "platform/ldap_session.h"

namespace wsadmin {

struct NameValueOutcome {
    // Whether the directory was changed. An add of a new name counts as a change even where the directory
    // refuses it.
    bool changed = false;
    int code = 0;  // the LDAP result code of the call that failed, 0 where none did
};

// Sets a pair on an entry that a search returned. Failures are logged.
NameValueOutcome setNameValue(platform::LdapSession& session, const platform::LdapEntry& entry,
                              const std::string& attribute, std::string_view name, std::string_view value);

// Adds or deletes one full value ("name=value"). The LDAP result code, 0 on success; failures are logged.
int modifyNameValue(platform::LdapSession& session, bool remove, const std::string& dn,
                    const std::string& attribute, const std::string& value);

}  // namespace wsadmin
