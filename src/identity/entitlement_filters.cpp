#include "identity/entitlement_filters.h"

#include "identity/principals.h"
#include "ldap/layout.h"
#include "platform/ldap/ldap_text.h"

namespace wsadmin {

namespace {

std::string ofClass(std::string_view objectClass) {
    return "(objectClass=" + std::string(objectClass) + ")";
}

std::string anyMember(const SidList& sids) {
    std::string terms = "(|";
    for (const platform::Sid& sid : sids) terms += "(member=" + principalDn(sid) + ")";
    return terms + ")";
}

}  // namespace

std::string desktopFilter(const SidList& sids) {
    return "(&" + ofClass(layout::objectClass::desktop) + anyMember(sids) + ")";
}

std::string packageFilter(const SidList& sids) {
    return "(&(|" + ofClass(layout::objectClass::package) + ofClass(layout::objectClass::packageGroup) + ")" +
           anyMember(sids) + ")";
}

std::string globalAssignmentFilter(const SidList& sids) {
    return "(&" + ofClass(layout::objectClass::globalAssignment) + anyMember(sids) + ")";
}

std::string adminRoleFilter(const SidList& sids) {
    return "(&" + ofClass(layout::objectClass::adminRole) + anyMember(sids) + ")";
}

std::string adminPermissionFilter(const SidList& sids, const std::vector<std::string>& permissions) {
    std::string granted = "(|(zre-AdminRolePermissions=Full=Allow)";
    for (const std::string& permission : permissions)
        granted += "(zre-AdminRolePermissions=" + platform::escapeFilterValue(permission) + "=Allow)";
    return "(&" + ofClass(layout::objectClass::adminRole) + anyMember(sids) + granted + "))";
}

}  // namespace wsadmin
