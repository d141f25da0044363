// What the portable directory services do beside the contract: whom they contact, and how they bind.
#include "platform/portable/portable_directory.h"
#include "contract/services_under_test.h"
#include "platform/portable/portable_binding.h"
#include "support/counting_ldap.h"
#include "support/rows.h"
#include "support/scripted_ldap.h"

namespace wsadmin::platform {
namespace {

using wstest::Json;

// The host, the port and whether it is TLS, how and as whom it is bound, and whether the path can be searched
// though nothing is answered; or why nobody is contacted.
Json contact(const Json& in) {
    const auto client = std::make_shared<wstest::RememberingClient>();
    const auto services = makePortableDirectoryServices(client, in.value("domain", "corp.example"));
    const std::string user = in.value("user", std::string());
    const auto opened = services->openSearch(
        in["path"], {user, CORE::secretstring(user.empty() ? "" : "hers")}, in.value("flags", 0U));
    if (client->opened == 0) return hexCode(codeOf(opened));
    constexpr const char* methods[] = {"negotiate", "simple", "anonymous"};
    return {client->endpoint.host, client->endpoint.port,
            client->endpoint.tls,  methods[static_cast<int>(client->bound.method)],
            client->bound.user,    client->bound.password.view(),
            opened.has_value()};
}

TEST(PortableDirectory, ContactsAndBindsAsTheRowsSay) {
    wstest::tryRows(WS_SOURCE_DIR "/tests/contract/rows.jsonl",
                    {{"contact", contact},
                     {"failure", [](const Json& in) { return hexCode(adsFailure(ldapFailure(in)).code); }}});
}

// A directory of 30 entries with a group of 10, that gives 20 entries and 3 values at once.
struct SmallLab {
    SmallLab() {
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
        services = makePortableDirectoryServices(
            std::make_shared<wstest::CountingLdapClient>(openLab(settings, content), counts), "127.0.0.1");
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
    const std::tuple<int, const char*, std::array<int, 3>> table[] = {
        // How many rows, searches and searches for a page.
        {0, "(cn=u1*)", {11, 1, 0}},
        {0, "(objectClass=user)", {30, 3, 2}},  // one that is refused, and two pages
        {10, "(cn=u1*)", {11, 2, 2}},
        {250, "(objectClass=user)", {30, 2, 2}},
    };
    for (const auto& [pageSize, filter, expected] : table) {
        const SmallLab lab;
        const auto search = lab.search(pageSize);
        lab.counts->restart();
        const auto rows = search->execute(filter, {"1.1"}).value();
        std::array counted{0, 0, 0};
        while (rows->next().value()) ++counted[0];
        for (const LdapSearch& one : lab.counts->searches()) {
            ++counted[1];
            counted[2] += one.controls.empty() ? 0 : 1;
        }
        EXPECT_EQ(counted, expected) << filter << pageSize;
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

TEST(PortableDirectory, SendsNoNewPasswordWithoutTls) {
    const auto lab = openLab({"LDAP", {"DC=x"}, "LAB", "lab.example", true},
                             "dn: CN=u,DC=x\nobjectClass: user\nuserAccountControl: 512\n");
    for (const bool offered : {false, true}) {
        const auto client = std::make_shared<RedirectedClient>(lab, [offered](LdapEndpoint& endpoint) {
            if (!offered) endpoint.startTls = StartTls::never;
        });
        const auto user = makePortableDirectoryServices(client, "")
                              ->openObject("LDAP://127.0.0.1/CN=u,DC=x", {}, adsSecureAuthentication)
                              .value();
        const auto set = user->setPassword(CORE::secretstring("Passw\u00f6rd.\U0001F511"));
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
        EXPECT_EQ(rows->columns().value().back().name, "ADsPath");
        EXPECT_EQ(rows->column("pwdLastSet").value().value().values,
                  std::vector<DirectoryValue>{std::int64_t{133000000000000000}});
    }
    EXPECT_EQ(seen, 30);
}

}  // namespace
}  // namespace wsadmin::platform
