#include "maintenance/attribute_write.h"

namespace wsadmin {

Result<void> modifyValue(platform::LdapSession& session, const std::string& dn,
                         platform::LdapModify operation, const std::string& attribute,
                         const std::string& value) {
    return session.modify(dn, {{.operation = operation, .attribute = attribute, .values = {value}}});
}

Result<void> addThenReplace(platform::LdapSession& session, const std::string& dn,
                            const std::string& attribute, const std::string& value) {
    static_cast<void>(modifyValue(session, dn, platform::LdapModify::add, attribute, value));
    return modifyValue(session, dn, platform::LdapModify::replace, attribute, value);
}

}  // namespace wsadmin
