#include "ldap/search.h"

#include <gtest/gtest.h>

#include "ldap/directory_session.h"
#include "support/log_capture.h"
#include "support/scripted_ldap.h"

using namespace wstest;

namespace {

const std::string base = "ou=Servers, dc=vdi,dc=talvex,dc=int";
const std::string filter = "(objectclass=zre-VM)";

TEST(PagedSearch, AsksForTheNextPageBeforeItGivesOutThisOne) {
    ScriptedSession session;  // a page may be empty and still have a successor
    session.answers = {pageAnswer({entry("cn=a"), entry("cn=b")}, "one"), pageAnswer({}, "two"),
                       pageAnswer({entry("cn=c")}, "")};
    PagedSearch pages(session, base, filter);
    std::vector<LdapEntry> page;
    std::string given, cookies;
    while (pages.next(page).value()) {
        for (const LdapEntry& one : page) given += one.dn + " ";
        given += "of " + std::to_string(session.searches.size()) + ", ";
    }
    EXPECT_EQ(given, "cn=a cn=b of 2, of 3, cn=c of 3, ");
    EXPECT_FALSE(pages.next(page).value());
    for (const LdapSearch& sent : session.searches) {
        const auto control = decodePageControl(sent.controls.at(0).value);
        cookies += control->cookie + ", ";
        EXPECT_EQ(sent.base + sent.filter, base + filter);
        EXPECT_EQ(sent.scope, LdapScope::subtree);
        EXPECT_TRUE(sent.attributes.empty() && sent.sizeLimit == 0 && sent.controls.at(0).critical);
        EXPECT_EQ(control->size, 250);
    }
    EXPECT_EQ(cookies, ", one, two, ");
}

TEST(PagedSearch, IsOverAfterAFailure) {
    ScriptedSession session;
    session.answers = {{.waitCode = ldapServerDown}, pageAnswer({entry("cn=a")}, "")};
    PagedSearch pages(session, base, filter);
    std::vector<LdapEntry> page;
    EXPECT_FALSE(pages.next(page));
    EXPECT_FALSE(pages.next(page).value());
    EXPECT_TRUE(page.empty());
}

TEST(PlainSearch, AnEntryThatMayBeAbsentIsNoErrorOfTheLog) {
    for (const auto& [code, level] :
         {std::pair(ldapNoSuchObject, CORE::logDebug), std::pair(ldapBusy, CORE::logError)}) {
        ScriptedSession session;
        session.answers = {{.waitCode = code}};
        const LogCapture log;
        const auto found = findEntry(session, "cn=x", filter, {});
        EXPECT_EQ(found ? 0 : found.error().code, code == ldapBusy ? ldapBusy : 0);
        ASSERT_EQ(log.lines().size(), 1U);
        EXPECT_EQ(log.lines().front().level, level) << code;
    }
}

TEST(DirectorySession, IsOfThisServerOrFailsWithSentenceAndCode) {
    Platform platform;
    const auto client = std::make_shared<ScriptedClient>();
    platform.ldap = client;
    EXPECT_TRUE(openConfigurationDirectory(platform));
    EXPECT_EQ(client->lastEndpoint.host, "");
    EXPECT_EQ(client->lastEndpoint.port, 389);
    const LogCapture log;
    client->openCode = ldapServerDown;
    const auto session = openConfigurationDirectory(platform);
    ASSERT_FALSE(session);
    const std::wstring sentence = L"Failed to establish LDAP connection on this server - Server Down";
    EXPECT_EQ(session.error().text, sentence);
    EXPECT_EQ(session.error().directoryCode, ldapServerDown);
    EXPECT_TRUE(log.contains(CORE::logError, sentence + L" (81)"));
}

}  // namespace
