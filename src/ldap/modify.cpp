#include "ldap/modify.h"

#include <utility>

namespace wsadmin {

Result<void> modifyAttribute(platform::LdapSession& session, const std::string& dn,
                             platform::LdapModify operation, const std::string& attribute,
                             std::vector<std::string> values, OnRefusal refusal) {
    auto done =
        session.modify(dn, {{.operation = operation, .attribute = attribute, .values = std::move(values)}});
    if (!done)
        logRefusal(refusal, L"Failed to modify %s of %s - %s (%d).", attribute, dn, done.error().text,
                   done.error().code);
    return done;
}

Result<void> addThenReplace(platform::LdapSession& session, const std::string& dn,
                            const std::string& attribute, const std::string& value) {
    static_cast<void>(
        modifyAttribute(session, dn, platform::LdapModify::add, attribute, {value}, OnRefusal::logsDebug));
    return modifyAttribute(session, dn, platform::LdapModify::replace, attribute, {value});
}

}  // namespace wsadmin
