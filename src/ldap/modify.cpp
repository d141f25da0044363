#include "ldap/modify.h"

#include <utility>

namespace wsadmin {

Result<void> modifyAttribute(platform::LdapSession& session, const std::string& dn,
                             platform::LdapModify operation, const std::string& attribute,
                             std::vector<std::string> values) {
    return session.modify(dn,
                          {{.operation = operation, .attribute = attribute, .values = std::move(values)}});
}

Result<void> addThenReplace(platform::LdapSession& session, const std::string& dn,
                            const std::string& attribute, const std::string& value) {
    static_cast<void>(modifyAttribute(session, dn, platform::LdapModify::add, attribute, {value}));
    return modifyAttribute(session, dn, platform::LdapModify::replace, attribute, {value});
}

}  // namespace wsadmin
