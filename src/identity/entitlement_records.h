// Entitlements and administrator roles: read from the directory's rows and rendered for results. A value
// whose column has another type than expected counts as missing, and missing values have defaults.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/property_bag.h"
#include "ldap/directory_rows.h"

namespace wsadmin {

// A desktop pool, a packaged application or a group of these.
struct EntitlementRecord {
    std::string cn, displayName, description;
    std::string folder = "/";
    bool disabled = false;
    std::string packageType;  // empty for what is no package
};
struct GlobalEntitlementRecord {
    std::string displayName, description;
    bool disabled = false;
    std::optional<std::int32_t> type;
};
struct AdminRoleRecord {
    std::string cn, displayName, description;
    bool disabled = false;
};

// The attributes that they are read from.
const std::vector<std::string>& entitlementAttributes();
const std::vector<std::string>& packageAttributes();  // of an entitlement, with its package's type
const std::vector<std::string>& globalEntitlementAttributes();
const std::vector<std::string>& adminRoleAttributes();

EntitlementRecord entitlementOf(const DirectoryRow& row);
GlobalEntitlementRecord globalEntitlementOf(const DirectoryRow& row);
AdminRoleRecord adminRoleOf(const DirectoryRow& row);

CORE::PropertyBag render(const EntitlementRecord& record);
CORE::PropertyBag render(const GlobalEntitlementRecord& record);
CORE::PropertyBag render(const AdminRoleRecord& record);

// The path of an entry below a container ("ou=folders," and the naming context): "/Sales/EMEA", and "/" for
// the container itself. Elsewhere the path starts below the naming context. A slash in a name is escaped as
// "\/". Empty for a text that is no distinguished name.
std::string directoryFolder(std::string_view dn, std::string_view container);

}  // namespace wsadmin
