// What people may use and administer, asked of a lab.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "identity/entitlement_filters.h"
#include "identity/entitlement_records.h"
#include "identity/handlers.h"
#include "identity/pod_lab.h"
#include "support/log_capture.h"

using namespace wstest;
using namespace wsadmin;
using platform::DirectoryName;
using platform::Sid;
using testing::UnorderedElementsAre;

namespace {

using Handler = CORE::PropertyBag (*)(ServiceContext&, const CORE::PropertyBag&);

constexpr char desktops[] = R"(
dn: CN=sales,OU=Applications,DC=vdi,DC=talvex,DC=int
objectClass: zre-DesktopApplication
zre-DisplayName: Sales desktop
description: Of the sales people
zre-Disabled: 0
zre-AdminFolderDN: OU=EMEA,OU=Sales,OU=Folders,DC=vdi,DC=talvex,DC=int
member: <SID=S-1-5-21-2000-2000-2000-1>
member: <SID=S-1-5-21-2000-2000-2000-2>

dn: CN=bare,OU=Applications,DC=vdi,DC=talvex,DC=int
objectClass: zre-DesktopApplication
member: <SID=S-1-5-21-2000-2000-2000-1>

dn: CN=closed,OU=Applications,DC=vdi,DC=talvex,DC=int
objectClass: zre-DesktopApplication
zre-Disabled: 1
member: <SID=S-1-5-21-2000-2000-2000-2>

dn: CN=others,OU=Applications,DC=vdi,DC=talvex,DC=int
objectClass: zre-DesktopApplication
member: <SID=S-1-5-21-2000-2000-2000-3>

dn: CN=writer,OU=Applications,DC=vdi,DC=talvex,DC=int
objectClass: zre-MirapakApplication
member: <SID=S-1-5-21-2000-2000-2000-1>

dn: CN=office,OU=Applications,DC=vdi,DC=talvex,DC=int
objectClass: zre-MirapakApplicationGroup
member: <SID=S-1-5-21-2000-2000-2000-1>

dn: CN=Helpers,OU=Groups,DC=vdi,DC=talvex,DC=int
objectClass: zre-AdminRole
description: They help
zre-Disabled: 1
member: <SID=S-1-5-21-2000-2000-2000-1>

dn: OU=Site 2/3,OU=Groups,DC=vdi,DC=talvex,DC=int
objectClass: organizationalUnit

dn: CN=Keepers,OU=Site 2/3,OU=Groups,DC=vdi,DC=talvex,DC=int
objectClass: zre-AdminRole
member: <SID=S-1-5-21-2000-2000-2000-2>
)";

std::string assignment(const std::string& name, const std::string& entitlement, int sid) {
    return "dn: CN=" + name + ",OU=Entitlements,DC=vdiglobal,DC=talvex,DC=int\n" +
           "objectClass: zre-GlobalAssignment\n" +
           (entitlement.empty() ? "" : "zre-GlobalEntitlementDN: " + entitlement + "\n") +
           // Members are named as the pods name them.
           "member: cn=" + sidOf(sid) + ",cn=ForeignSecurityPrincipals,dc=vdi,dc=talvex,dc=int\n\n";
}

std::string globalEntitlement(const std::string& name, const std::string& more) {
    return "dn: CN=" + name + ",OU=Entitlements,DC=vdiglobal,DC=talvex,DC=int\nobjectClass: container\n" +
           more + "\n";
}

std::vector<std::string> shown(const CORE::PropertyBag& result, std::wstring_view key) {
    std::vector<std::string> records;
    std::size_t position = 0;
    while (const CORE::PropertyBag* record = result.getNextBag(key, position))
        records.push_back(CORE::toUtf8(record->flattenForDisplay(L"|").str()));
    return records;
}

TEST(EntitlementFilters, AreWrittenToTheLetter) {
    const auto sid = *Sid::parse("S-1-5-18");
    const std::string one = "(member=cn=S-1-5-18,cn=ForeignSecurityPrincipals,dc=vdi,dc=talvex,dc=int)";
    const std::string role = "(&(objectClass=zre-AdminRole)(|";
    const std::pair<std::string, std::string> rows[] = {
        {desktopFilter({sid, sid}), "(&(objectClass=zre-DesktopApplication)(|" + one + one + "))"},
        {desktopFilter({}), "(&(objectClass=zre-DesktopApplication)(|))"},
        {packageFilter({sid}),
         "(&(|(objectClass=zre-MirapakApplication)(objectClass=zre-MirapakApplicationGroup))(|" + one + "))"},
        {globalAssignmentFilter({sid}), "(&(objectClass=zre-GlobalAssignment)(|" + one + "))"},
        {adminRoleFilter({sid}), role + one + "))"},
        {adminPermissionFilter({sid}, {}), role + one + ")(|(zre-AdminRolePermissions=Full=Allow)))"},
        {adminPermissionFilter({sid}, {"Machine", "x)(cn=*"}),
         role + one + ")(|(zre-AdminRolePermissions=Full=Allow)(zre-AdminRolePermissions=Machine=Allow)" +
             "(zre-AdminRolePermissions=x\\29\\28cn=\\2A=Allow)))"},
    };
    for (const auto& [filter, expected] : rows) EXPECT_EQ(CORE::toWide(filter), CORE::toWide(expected));
}

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

TEST(Entitlements, ListWhatTheSidsAreMembersOf) {
    PodLab lab({.pod = desktops});
    const auto request = requestOf(L"sid", {sidOf(1), sidOf(2)});
    EXPECT_THAT(shown(getEntitledDesktops(*lab.service, request), L"entitlement"),
                UnorderedElementsAre("cn=sales|display-name=Sales desktop|description=Of the sales people|"
                                     "folder=/Sales/EMEA|status=enabled",
                                     "cn=bare|display-name=|description=|folder=/|status=enabled",
                                     "cn=closed|display-name=|description=|folder=/|status=disabled"));
    const std::string rest = "|display-name=|description=|folder=/|status=enabled|MirapakType=";
    EXPECT_THAT(shown(getEntitledMirapaks(*lab.service, request), L"entitlement"),
                UnorderedElementsAre("cn=writer" + rest + "Mirapak Application",
                                     "cn=office" + rest + "Mirapak Application Group"));
    EXPECT_THAT(
        shown(getAdminRoles(*lab.service, request), L"admin-role"),
        UnorderedElementsAre("cn=Helpers|display-name=/Helpers|description=They help|status=disabled",
                             "cn=Keepers|display-name=/Site 2\\/3/Keepers|description=|status=enabled"));
    EXPECT_EQ(lab.counts->live, 0);
}

TEST(Entitlements, OfTheFederationAreListedForEachAssignment) {
    const auto dnOf = [](const std::string& name) {
        return "CN=" + name + ",OU=Entitlements,DC=vdiglobal,DC=talvex,DC=int";
    };
    PodLab lab({.federation = globalEntitlement("F", "zre-DisplayName: Float\nzre-EntitlementType: 0\n") +
                              globalEntitlement("D (1)*", "description: Own\nzre-EntitlementType: 1\n") +
                              globalEntitlement("O", "zre-Disabled: 1\nzre-EntitlementType: 7\n") +
                              globalEntitlement("N", "") + assignment("a1", dnOf("F"), 1) +
                              assignment("a2", "cn=f, OU=Entitlements,DC=vdiglobal,DC=talvex,DC=int", 2) +
                              assignment("a3", dnOf("D (1)*"), 1) + assignment("a4", dnOf("O"), 2) +
                              assignment("a5", dnOf("N"), 1) + assignment("a6", "", 1) +
                              assignment("a7", "CN=Entitlements,DC=vdiglobal,DC=talvex,DC=int", 1) +
                              assignment("a8", dnOf("F"), 3)});
    const LogCapture log;
    const auto result = getGlobalEntitledDesktops(*lab.service, requestOf(L"sid", {sidOf(1), sidOf(2)}));
    EXPECT_EQ(result.getErrorText(), L"");
    EXPECT_THAT(
        shown(result, L"entitlement"),
        UnorderedElementsAre("display-name=Float|description=|status=enabled|entitlement-type=floating",
                             "display-name=Float|description=|status=enabled|entitlement-type=floating",
                             "display-name=|description=Own|status=enabled|entitlement-type=dedicated",
                             "display-name=|description=|status=disabled|entitlement-type=floating",
                             "display-name=|description=|status=enabled|etitlement-type=floating"));
    EXPECT_TRUE(log.contains(
        CORE::logDebug, L"SID list for entitlements purposes " + CORE::toWide(sidOf(1) + ", " + sidOf(2))));
    EXPECT_TRUE(log.contains(CORE::logDebug, L"BaseDn is OU=Entitlements,dc=vdiglobal,dc=talvex,dc=int"));
    EXPECT_TRUE(log.contains(
        CORE::logDebug,
        L"Filter is (distinguishedName=CN=D \\281\\29\\2A,OU=Entitlements,DC=vdiglobal,DC=talvex,DC=int)"));
    EXPECT_TRUE(log.contains(CORE::logError,
                             L"Failed to find global entitlement entry. Assignment entry does not contain a "
                             L"zre-GlobalEntitlementDN reference"));
    EXPECT_TRUE(log.contains(CORE::logError,
                             L"Failed to find global entitlement entry using filer "
                             L"(distinguishedName=CN=Entitlements,DC=vdiglobal,DC=talvex,DC=int)"));
    EXPECT_EQ(lab.counts->searchesFor("(distinguishedName="), 6);
    EXPECT_EQ(lab.counts->live, 0);
}

TEST(Entitlements, OfAThousandSidsTakeOneSearch) {
    PodLab lab({.pod = desktops});
    std::vector<std::string> sids;
    for (int number = 0; number <= 1000; ++number) sids.push_back(sidOf(number));
    const auto result = getEntitledDesktops(*lab.service, requestOf(L"sid", sids));
    EXPECT_EQ(shown(result, L"entitlement").size(), 4U);
    EXPECT_EQ(lab.counts->searchesFor("zre-DesktopApplication"), 1);
}

struct Refusal {
    const char* what;
    Handler handler;
    std::string podFaults, federationFaults;
    std::vector<std::string> sids;
    std::wstring sentence;  // empty: no error
    int ldapCode = 0;
    std::ptrdiff_t lookUps = 0;  // of global entitlements
};

TEST(Entitlements, EveryFailureHasItsSentenceAndNoRecords) {
    const std::vector<std::string> known = {sidOf(1)};
    const std::string dead = "refuse-connections = true", unbound = "refuse-binds = true",
                      dying = "die-after-operations = 1";  // the base is opened, the search is lost
    const std::wstring down = L"Failed to bind to LDAP - Server Down",
                       filter = L"Failed to construct LDAP filter", none = L"No entitlements",
                       lost = L"Failed to find entitlements";
    const Refusal rows[] = {
        {"no server", getEntitledDesktops, dead, "", known, down, 81},
        {"no server for roles", getAdminRoles, dead, "", known, down, 81},
        {"no bind", getEntitledDesktops, unbound, "", known, none},
        {"no bind for packages", getEntitledMirapaks, unbound, "", known, none},
        {"no bind for roles", getAdminRoles, unbound, "", known, L"No admin roles"},
        {"lost", getEntitledDesktops, dying, "", known, lost},
        {"lost packages", getEntitledMirapaks, dying, "", known, lost},
        {"lost roles", getAdminRoles, dying, "", known, L"Failed to find admin roles"},
        {"no SID", getEntitledDesktops, "", "", {sidOf(1), "*)(cn=*"}, filter},
        {"no SID for the federation", getGlobalEntitledDesktops, "", "", {""}, filter},
        {"no SIDs", getEntitledDesktops, "", "", {}, L""},
        {"no SIDs for roles", getAdminRoles, "", "", {}, L""},
        {"no SIDs for the federation", getGlobalEntitledDesktops, "", "", {}, L""},
        {"no layer", getGlobalEntitledDesktops, "", dead, known, none},
        {"no bind to the layer", getGlobalEntitledDesktops, "", unbound, known, none},
        {"layer lost", getGlobalEntitledDesktops, "", dying, known, lost},
        // Open, assignments, types of their columns (two), the first entitlement: then it dies.
        {"layer lost in between", getGlobalEntitledDesktops, "", "die-after-operations = 5", known, lost, 0,
         2},
    };
    for (const Refusal& row : rows) {
        SCOPED_TRACE(row.what);
        PodLab lab({.pod = desktops,
                    .federation = globalEntitlement("A", "") + globalEntitlement("B", "") +
                                  assignment("a1", "CN=A,OU=Entitlements,DC=vdiglobal,DC=talvex,DC=int", 1) +
                                  assignment("a2", "CN=B,OU=Entitlements,DC=vdiglobal,DC=talvex,DC=int", 1),
                    .podFaults = row.podFaults,
                    .federationFaults = row.federationFaults});
        const auto result = row.handler(*lab.service, requestOf(L"sid", row.sids));
        EXPECT_EQ(result.getErrorText(), row.sentence);
        EXPECT_EQ(result.getError(), row.sentence.empty() ? 0 : 1);
        EXPECT_EQ(result.getInt(L"ldaperr"), row.ldapCode);
        EXPECT_EQ(result.size(), row.ldapCode ? 1U : 0U);
        EXPECT_EQ(lab.counts->searchesFor("(distinguishedName="), row.lookUps);
        EXPECT_EQ(lab.counts->searchesFor("(|)"), 0);  // which not every directory takes
        EXPECT_EQ(lab.counts->live, 0);
    }
}

TEST(Entitlements, ADirectoryThatDiesBetweenPagesGivesNothing) {
    std::string many;
    for (int number = 0; number < 1500; ++number)
        many += "dn: CN=d" + std::to_string(number) +
                ",OU=Applications,DC=vdi,DC=talvex,DC=int\nobjectClass: zre-DesktopApplication\n"
                "member: <SID=" +
                sidOf(1) + ">\n\n";
    const auto request = requestOf(L"sid", {sidOf(1)});
    PodLab whole({.pod = many});
    EXPECT_EQ(shown(getEntitledDesktops(*whole.service, request), L"entitlement").size(), 1500U);

    PodLab dying({.pod = many, .podFaults = "die-after-pages = 1"});
    const auto result = getEntitledDesktops(*dying.service, request);
    EXPECT_EQ(result.getErrorText(), L"Failed to find entitlements");
    EXPECT_TRUE(result.empty());
    EXPECT_EQ(dying.counts->live, 0);
}

}  // namespace
