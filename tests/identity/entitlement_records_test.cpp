#include "identity/entitlement_records.h"

#include <gtest/gtest.h>

using namespace wsadmin;
using platform::DirectoryName;

namespace {

// A value of another type than its column should have is as good as none.
TEST(EntitlementRecords, ValuesOfAnotherTypeCountAsMissing) {
    DirectoryRow row;
    row.set("cn", {DirectoryName{"CN=x"}});
    row.set("zre-DisplayName", {1});
    row.set("zre-Disabled", {"1"});
    row.set("zre-AdminFolderDN", {"OU=Sales,OU=Folders,DC=vdi,DC=talvex,DC=int"});
    row.set("distinguishedName", {"CN=x,DC=y"});
    row.set("zre-EntitlementType", {std::int64_t{1}});
    EXPECT_EQ(render(entitlementOf(row)).flattenForDisplay(L"|"),
              L"cn=|display-name=|description=|folder=/|status=enabled");
    EXPECT_EQ(render(globalEntitlementOf(row)).flattenForDisplay(L"|"),
              L"display-name=|description=|status=enabled|etitlement-type=floating");
    EXPECT_EQ(render(adminRoleOf(row)).flattenForDisplay(L"|"),
              L"cn=|display-name=|description=|status=enabled");
}

}  // namespace
