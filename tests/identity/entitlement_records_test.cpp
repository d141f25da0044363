#include "identity/entitlement_records.h"

#include <gtest/gtest.h>

using namespace wsadmin;
using platform::DirectoryName;

namespace {

TEST(EntitlementRecords, FoldersArePaths) {
    const std::string nc = "DC=vdi,DC=talvex,DC=int";
    const std::pair<std::string, std::string> rows[] = {
        {"OU=EMEA,OU=Sales,OU=Folders," + nc, "/Sales/EMEA"},
        {"ou=folders, dc=vdi, dc=TALVEX, dc=int", "/"},
        {"OU=A\\, B,OU=1/2,OU=Folders," + nc, "/1\\/2/A, B"},
        {"CN=x+OU=y,OU=Folders," + nc, "/x+y"},
        {"OU=Sales,OU=Old Folders," + nc, "/Old Folders/Sales"},
        {nc, "/"},
        {"OU=Sales,DC=elsewhere", "/elsewhere/Sales"},
        {"no name", ""},
    };
    for (const auto& [dn, path] : rows)
        EXPECT_EQ(directoryFolder(dn, "ou=folders,dc=vdi,dc=talvex,dc=int"), path) << dn;
}

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
