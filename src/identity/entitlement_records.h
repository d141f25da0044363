// What is told of an entitlement or a role, as the directory's rows have it and as results show it. A value
// counts only where its column has the type that it should have; what is missing has a default.
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

// Where an entry stands below a container ("ou=folders," and the naming context): "/Sales/EMEA", and "/" for
// the container itself. Outside of it the path begins below the naming context. A slash of a name is written
// "\/". Empty for what is no name.
std::string directoryFolder(std::string_view dn, std::string_view container);

}  // namespace wsadmin
