// What the portable directory services do beside the contract: whom they contact, and how they bind.
#include <gtest/gtest.h>

#include "contract/services_under_test.h"
#include "platform/portable/portable_directory.h"
#include "support/counting_ldap.h"
#include "support/scripted_ldap.h"

namespace wsadmin::platform {
namespace {

using wstest::RememberingClient;

TEST(PortableDirectory, ContactsWhomThePathNames) {
    const struct {
        const char* path;
        std::uint32_t flags;
        const char* host;
        int port;
        bool tls;
    } table[] = {
        {"LDAP://dc1/dc=x", 0, "dc1", 389, false},
        {"LDAP://dc1:3890/dc=x", adsUseSsl, "dc1", 3890, true},
        {"LDAP://dc1/dc=x", adsUseSsl, "dc1", 636, true},
        {"LDAP://[::1]:22389/dc=x", 0, "::1", 22389, false},
        {"LDAP://[fe80::1%eth0]", 0, "fe80::1%eth0", 389, false},
        {"LDAP://CN=a,dc=x,dc=y", 0, "x.y", 389, false},
        {"LDAP://CN=a", 0, "corp.example", 389, false},
        {"LDAP://rootDSE", 0, "corp.example", 389, false},
        {"GC:", 0, "corp.example", 3268, false},
        {"GC://dc2/dc=x", 0, "dc2", 3268, false},
        {"GC://dc2", adsUseSsl, "dc2", 3269, true},
    };
    for (const auto& row : table) {
        const auto client = std::make_shared<RememberingClient>();
        const auto services = makePortableDirectoryServices(client, "corp.example");
        // Nobody answers; but who was asked is known.
        EXPECT_FALSE(services->openObject(row.path, {}, row.flags)) << row.path;
        EXPECT_EQ(client->endpoint.host, row.host) << row.path;
        EXPECT_EQ(client->endpoint.port, row.port) << row.path;
        EXPECT_EQ(client->endpoint.tls, row.tls) << row.path;
    }
}

TEST(PortableDirectory, WithoutADefaultDomainServerlessPathsLeadNowhere) {
    const auto client = std::make_shared<RememberingClient>();
    const auto services = makePortableDirectoryServices(client, "");
    for (const char* path : {"LDAP://rootDSE", "LDAP://CN=a", "LDAP:", "GC:"}) {
        const auto opened = services->openSearch(path, {}, adsSecureAuthentication);
        ASSERT_FALSE(opened) << path;
        EXPECT_EQ(hexCode(opened.error().code), "8007054b") << path;
    }
    EXPECT_EQ(client->opened, 0);
}

TEST(PortableDirectory, BindsAsTheFlagsSay) {
    using Method = LdapCredentials::Method;
    const DirectoryCredentials nobody, alice{"CORP\\alice", CORE::secretstring("hers")};
    const struct {
        const DirectoryCredentials& credentials;
        std::uint32_t flags;
        Method method;
    } table[] = {
        {nobody, adsSecureAuthentication, Method::negotiate},
        {nobody, adsSecureAuthentication | adsServerBind, Method::negotiate},
        {alice, adsSecureAuthentication, Method::negotiate},
        {nobody, 0, Method::anonymous},
        {alice, adsServerBind, Method::simple},
    };
    for (const auto& row : table) {
        const auto client = std::make_shared<RememberingClient>();
        EXPECT_TRUE(makePortableDirectoryServices(client, "")
                        ->openSearch("LDAP://dc1/dc=x", row.credentials, row.flags | adsFastBind));
        EXPECT_EQ(client->bound.method, row.method) << row.flags;
        EXPECT_EQ(client->bound.user, row.credentials.user);
        EXPECT_EQ(client->bound.password.view(), row.credentials.password.view());
    }
}

// A directory of 30 entries with a group of 10, that gives 20 entries and 3 values at once and has the faults
// of its case.
class SmallLab {
  public:
    explicit SmallLab(lab::Faults faults = {}) {
        lab::DirectorySettings settings{"LDAP", {"DC=x"}, "LAB", "lab.example"};
        settings.rangeSize = 3;
        settings.pageSize = 20;
        std::string content, members;
        for (int i = 0; i < 30; ++i) {
            const std::string dn = "CN=u" + std::to_string(i) + ",DC=x\n";
            content += "dn: " + dn + "objectClass: user\npwdLastSet: 133000000000000000\n\n";
            if (i < 10) members += "member: " + dn;
        }
        content += "dn: CN=g,DC=x\nobjectClass: group\n" + members;
        services =
            makePortableDirectoryServices(std::make_shared<wstest::CountingLdapClient>(
                                              openLab(settings, content, {}, std::move(faults)), counts),
                                          "127.0.0.1");
    }
    std::shared_ptr<DirectorySearch> search(int pageSize) const {
        auto opened = services->openSearch("LDAP://127.0.0.1/DC=x", {}, adsSecureAuthentication).value();
        EXPECT_TRUE(opened->setPreference(SearchPreference::pageSize, pageSize));
        return opened;
    }
    std::shared_ptr<wstest::PortCalls> counts = std::make_shared<wstest::PortCalls>();
    std::shared_ptr<DirectoryServices> services;
};

TEST(PortableDirectory, AsksForPagesWhereToldToOrWhereTheServerWouldNotGiveAll) {
    const struct {
        int pageSize;
        const char* filter;
        int rows, searches, paged;
    } table[] = {
        {0, "(cn=u1*)", 11, 1, 0},
        {0, "(objectClass=user)", 30, 3, 2},  // one that is refused, and two pages
        {10, "(cn=u1*)", 11, 2, 2},
        {250, "(objectClass=user)", 30, 2, 2},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.filter + std::to_string(row.pageSize));
        const SmallLab lab;
        const auto search = lab.search(row.pageSize);
        lab.counts->restart();
        const auto rows = search->execute(row.filter, {"1.1"}).value();
        int seen = 0;
        while (rows->next().value()) ++seen;
        EXPECT_EQ(seen, row.rows);
        const auto searches = lab.counts->searches();
        EXPECT_EQ(std::ssize(searches), row.searches);
        EXPECT_EQ(
            std::ranges::count_if(searches, [](const LdapSearch& one) { return !one.controls.empty(); }),
            row.paged);
    }
}

TEST(PortableDirectory, JoinsTheRangesOfALargeAttribute) {
    const SmallLab lab;
    const auto group = lab.services->openObject("LDAP://127.0.0.1/CN=g,DC=x", {}, adsSecureAuthentication);
    const auto members = group.value()->getEx("Member").value();
    ASSERT_EQ(members.size(), 10U);
    EXPECT_EQ(variantTypeCode(members.front()), 8);
    EXPECT_EQ(directoryText(members.back()), "CN=u9,DC=x");
}

TEST(PortableDirectory, AServerThatDiesInMidSearchEndsItsBinding) {
    lab::Faults faults;
    faults.dieAfterPages = 2;
    const SmallLab lab(faults);
    const auto search = lab.search(5);
    const auto rows = search->execute("(objectClass=user)", {"cn"}).value();
    int seen = 0;
    auto more = rows->next();
    for (; more && *more; more = rows->next()) ++seen;
    ASSERT_FALSE(more);
    EXPECT_EQ(hexCode(more.error().code), "8007203a");
    EXPECT_FALSE(search->usable());
    EXPECT_LE(seen, 10);
    EXPECT_FALSE(rows->column("cn"));  // there is no row any more
}

TEST(PortableDirectory, SendsNoNewPasswordWithoutTls) {
    const auto lab = openLab({"LDAP", {"DC=x"}, "LAB", "lab.example", true},
                             "dn: CN=u,DC=x\nobjectClass: user\nuserAccountControl: 512\n");
    for (const bool offered : {false, true}) {
        const auto client = std::make_shared<RedirectedClient>(lab, [offered](LdapEndpoint& endpoint) {
            if (!offered) endpoint.startTls = StartTls::never;
        });
        const auto user = makePortableDirectoryServices(client, "")
                              ->openObject("LDAP://127.0.0.1/CN=u,DC=x", {}, adsSecureAuthentication);
        ASSERT_TRUE(user);
        const auto set = (*user)->setPassword(CORE::secretstring("Passw\u00f6rd.\U0001F511"));
        EXPECT_EQ(client->opened, 2);
        ASSERT_EQ(set.has_value(), offered);
        EXPECT_TRUE(set || set.error().text.ends_with(
                               L"No new password is sent to 127.0.0.1, because the connection has no TLS"));
        const auto bindWith = [&](const char* password) {
            const auto session = lab->open({.host = "127.0.0.1"}).value();
            return codeOf(session->bind(
                {LdapCredentials::Method::simple, "CN=u,DC=x", {}, CORE::secretstring(password)}));
        };
        EXPECT_EQ(bindWith("Passw\u00f6rd.\U0001F511"), ldapSuccess);
        EXPECT_EQ(bindWith("other"), offered ? ldapInvalidCredentials : ldapSuccess);
    }
}

TEST(PortableDirectory, RowsOutliveTheirSearch) {
    const SmallLab lab;
    const std::unique_ptr<DirectoryRows> rows = lab.search(7)->execute("(objectClass=user)", {}).value();
    EXPECT_FALSE(rows->column("cn"));
    int seen = 0;
    while (rows->next().value()) {
        ++seen;
        const auto columns = rows->columns();
        ASSERT_TRUE(columns);
        EXPECT_EQ(columns->back().name, "ADsPath");
        const auto set = rows->column("pwdLastSet");
        ASSERT_TRUE(set && *set);
        EXPECT_EQ((*set)->values, std::vector<DirectoryValue>{std::int64_t{133000000000000000}});
    }
    EXPECT_EQ(seen, 30);
}

}  // namespace
}  // namespace wsadmin::platform
