// The labs that come along: that they load, and hold what the documentation promises.
#include <gtest/gtest.h>

#include "platform/lab/lab_platform.h"

namespace wsadmin::platform::lab {
namespace {

constexpr char suffix[] = "dc=vdi,dc=talvex,dc=int";

std::unique_ptr<LdapSession> boundSession(Platform& platform, const std::string& host = {},
                                          std::uint16_t port = 389) {
    LdapEndpoint endpoint;
    endpoint.host = host;
    endpoint.port = port;
    auto session = platform.ldap->open(endpoint);
    EXPECT_TRUE(session);
    EXPECT_TRUE((*session)->bind({}));
    return std::move(*session);
}

std::size_t count(LdapSession& session, const std::string& base, const std::string& filter) {
    const auto found = session.search({base, LdapScope::subtree, filter, {"1.1"}, {}, 0});
    EXPECT_TRUE(found) << filter;
    return found ? found->entries.size() : 0;
}

TEST(SampleLab, HoldsAPodAndItsDomain) {
    const auto platform = openLab(WS_SOURCE_DIR "/labs/sample");
    ASSERT_TRUE(platform) << CORE::toUtf8(platform.error().text);
    EXPECT_EQ((*platform)->processAccount, L"SYSTEM");
    const auto pod = boundSession(**platform);
    const std::string at = suffix;
    struct {
        std::string base, filter;
        std::size_t entries;
    } const table[] = {
        {"ou=Servers, " + at, "(|(objectclass=zre-VM)(objectclass=zre-PM))", 201},
        {"OU=Server Groups," + at, "objectclass=zre-ServerPool", 5},
        {"ou=Servers," + at, "(zre-MemberDNOf=cn=SALES,OU=Server Groups,DC=vdi,DC=talvex,DC=int)", 60},
        {"ou=Server,ou=Properties," + at, "(&(objectClass=zre-PropertyObject)(!zre-HDQSecurityServer=1))", 3},
        {"ou=Server,ou=Properties," + at,
         "(&(zre-HDQSecurityServer=1)(zre-ConnectionServerDN=cn=VCS1,ou=Server,ou=Properties," + at + "))",
         2},
        {"cn=ForeignSecurityPrincipals," + at, "(&(objectclass=foreignSecurityPrincipal)(cn=*))", 13},
        {at, "(member=<SID=S-1-5-21-2000-2000-2000-1103>)", 2},
        {at, "(member=cn=S-1-5-21-2000-2000-2000-1103,cn=ForeignSecurityPrincipals," + at + ")", 2},
    };
    for (const auto& row : table) EXPECT_EQ(count(*pod, row.base, row.filter), row.entries) << row.filter;

    const auto corp = boundSession(**platform, "corp.example");
    EXPECT_EQ(count(*corp, "OU=Staff,DC=corp,DC=example", "(&(objectClass=user)(sAMAccountName=alice))"), 1U);
    EXPECT_EQ(count(*corp, "DC=corp,DC=example", "(objectSid=S-1-5-21-2000-2000-2000-1103)"), 1U);
    EXPECT_EQ(count(*corp, "DC=corp,DC=example",
                    "(member:1.2.840.113556.1.4.1941:=CN=Carol Cole,OU=Staff,DC=corp,DC=example)"),
              3U);
}

TEST(SampleLab, HoldsAccountsInEveryState) {
    const auto platform = openLab(WS_SOURCE_DIR "/labs/sample");
    ASSERT_TRUE(platform);
    const auto corp = boundSession(**platform, "corp.example");
    const struct {
        const char *filter, *attribute, *value;
    } table[] = {
        {"(sAMAccountName=alice)", "msDS-User-Account-Control-Computed", "0"},
        {"(sAMAccountName=lotte)", "msDS-User-Account-Control-Computed", "16"},
        {"(sAMAccountName=paul)", "msDS-User-Account-Control-Computed", "8388608"},
        {"(sAMAccountName=emil)", "accountExpires", "132223104000000000"},
        {"(userAccountControl:1.2.840.113556.1.4.803:=262144)", "sAMAccountName", "sonja"},
        {"(userPrincipalName=bcdefghijklmnopqrstuv@corp.example)", "sAMAccountName", "bcdefghijklmnopqrstu"},
        {"(altSecurityIdentities=X509:<I>C=EX,O=Corp,CN=Corp CA<S>C=EX,O=Corp,CN=Alice)", "sAMAccountName",
         "alice"},
        {"(altSecurityIdentities=X509:<S>C=EX,O=Corp,CN=Bob)", "sAMAccountName", "bob"},
        // S-1-5-21-2000-2000-2000-1153
        {"(objectSid=\\01\\05\\00\\00\\00\\00\\00\\05\\15\\00\\00\\00\\d0\\07\\00\\00\\d0\\07\\00\\00"
         "\\d0\\07\\00\\00\\81\\04\\00\\00)",
         "sAMAccountName", "hugo"},
    };
    for (const auto& row : table) {
        const auto found = corp->search({"DC=corp,DC=example",
                                         LdapScope::subtree,
                                         "(&(objectClass=user)" + std::string(row.filter) + ")",
                                         {row.attribute},
                                         {},
                                         0});
        ASSERT_TRUE(found) << row.filter;
        ASSERT_EQ(found->entries.size(), 1U) << row.filter;
        EXPECT_EQ(found->entries.at(0).first(row.attribute), row.value) << row.filter;
    }
    for (const auto& [name, hours] :
         {std::pair("hugo", std::string(21, '\0')), {"alma", std::string(21, '\xff')}}) {
        const auto found = corp->search({"DC=corp,DC=example",
                                         LdapScope::subtree,
                                         "(sAMAccountName=" + std::string(name) + ")",
                                         {"logonHours"},
                                         {},
                                         0});
        EXPECT_EQ(found.value().entries.at(0).first("logonHours"), hours) << name;
    }
}

// Assignments name people as the pod does, in a directory that has no such entries.
TEST(FederatedLab, HoldsTheGlobalDirectory) {
    const auto platform = openLab(WS_SOURCE_DIR "/labs/federated");
    ASSERT_TRUE(platform) << CORE::toUtf8(platform.error().text);
    const auto pod = boundSession(**platform);
    EXPECT_EQ(count(*pod, std::string("OU=QRV,OU=Properties,") + suffix, "(zre-QuorinEnabled=1)"), 2U);
    const auto global = boundSession(**platform, "127.0.0.1", 22389);
    const std::string at = "dc=vdiglobal,dc=talvex,dc=int";
    const auto member = [](const std::string& rid) {
        return "(&(objectClass=zre-GlobalAssignment)(|(member=cn=S-1-5-21-2000-2000-2000-" + rid +
               ",cn=ForeignSecurityPrincipals," + suffix + ")))";
    };
    const struct {
        std::string base, filter;
        std::size_t entries;
    } table[] = {
        {"OU=Entitlements," + at, member("1103"), 3},
        {"OU=Entitlements," + at, member("1202"), 1},
        {"OU=Entitlements," + at, member("1104"), 0},
        {"OU=Entitlements," + at, "(distinguishedName=CN=ge-design,OU=Entitlements," + at + ")", 1},
        {"OU=Entitlements," + at, "(distinguishedName=CN=ge-gone,OU=Entitlements," + at + ")", 0},
        {"OU=Pod,OU=Properties," + at, "objectClass=zre-PodEndpoint", 2},
    };
    for (const auto& row : table) EXPECT_EQ(count(*global, row.base, row.filter), row.entries) << row.filter;
}

}  // namespace
}  // namespace wsadmin::platform::lab
