#include "ldap/search.h"

#include <gtest/gtest.h>

#include "ldap/directory_session.h"
#include "support/log_capture.h"
#include "support/scripted_ldap.h"

using namespace wstest;

namespace {

const std::string base = "ou=Servers, dc=vdi,dc=talvex,dc=int";
const std::string filter = "(objectclass=zre-VM)";

std::vector<std::string> cookiesSent(const ScriptedSession& session) {
    std::vector<std::string> cookies;
    for (const LdapSearch& search : session.searches)
        cookies.push_back(decodePageControl(search.controls.at(0).value)->cookie);
    return cookies;
}

TEST(PagedSearch, AsksForTheNextPageBeforeItGivesOutThisOne) {
    ScriptedSession session;
    session.answers = {pageAnswer({entry("cn=a"), entry("cn=b")}, "one"), pageAnswer({}, "two"),
                       pageAnswer({entry("cn=c")}, "")};
    PagedSearch pages(session, base, filter);
    std::vector<LdapEntry> page;

    ASSERT_TRUE(pages.next(page).value());
    EXPECT_EQ(page.size(), 2U);
    EXPECT_EQ(cookiesSent(session), (std::vector<std::string>{"", "one"}));
    ASSERT_TRUE(pages.next(page).value());  // a page may be empty and still have a successor
    EXPECT_TRUE(page.empty());
    ASSERT_TRUE(pages.next(page).value());
    EXPECT_EQ(page.at(0).dn, "cn=c");
    EXPECT_FALSE(pages.next(page).value());
    EXPECT_FALSE(pages.next(page).value());
    EXPECT_EQ(cookiesSent(session), (std::vector<std::string>{"", "one", "two"}));
    for (const LdapSearch& sent : session.searches) {
        EXPECT_EQ(sent.base + sent.filter, base + filter);
        EXPECT_EQ(sent.scope, LdapScope::subtree);
        EXPECT_TRUE(sent.attributes.empty() && sent.sizeLimit == 0 && sent.controls.at(0).critical);
        EXPECT_EQ(decodePageControl(sent.controls.at(0).value)->size, 250);
    }
}

// The steps that no operation's test has fail.
TEST(PagedSearch, EachFailingStepHasItsTexts) {
    const ScriptedAnswer unsent{.sendCode = ldapServerDown};
    const std::wstring noSearch = L"Failed to perform search",
                       logged = L"Failed to search - (objectclass=zre-VM) Server Down (81).";
    const struct {
        std::deque<ScriptedAnswer> answers;
        std::wstring sentence, logged;
        int code;
    } rows[] = {
        {{unsent}, noSearch, logged, ldapServerDown},
        {{pageAnswer({entry("cn=a")}, "one"), unsent}, noSearch, logged, ldapServerDown},
        {{{.controls = {{.oid = controls::pagedResults, .value = "\x30\x7f"}}}},
         L"Failed to obtain paged result from search",
         L"Failed to obtain paged result - Decoding Error (84).",
         ldapDecodingError},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(CORE::toUtf8(row.logged));
        ScriptedSession session;
        session.answers = row.answers;
        const LogCapture log;
        const auto all = searchAllPages(session, base, filter);
        ASSERT_FALSE(all);
        EXPECT_EQ(all.error().text, row.sentence);
        EXPECT_EQ(all.error().code, row.code);
        EXPECT_EQ(log.lines(), (std::vector<LogLine>{{CORE::logError, row.logged}}));
    }
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

TEST(PlainSearch, GivesTheEntriesOrTheSentence) {
    ScriptedSession session;
    session.answers = {
        {.entries = {entry("cn=a")}}, {.waitCode = ldapNoSuchObject}, {.waitCode = ldapNoSuchObject}};
    EXPECT_EQ(searchSubtree(session, base, filter)->size(), 1U);
    EXPECT_TRUE(session.searches.at(0).controls.empty());
    const LogCapture log;
    const auto none = searchSubtree(session, base, filter);
    EXPECT_EQ(none.error().text, L"Failed to perform search");
    EXPECT_EQ(none.error().code, ldapNoSuchObject);
    EXPECT_TRUE(log.contains(CORE::logError,
                             L"Failed to search - base DN: ou=Servers, dc=vdi,dc=talvex,dc=int "
                             L"filter:(objectclass=zre-VM) No Such Object (32)."));
    const auto missing = readEntry(session, "cn=x");
    EXPECT_EQ(missing.error().text, L"No Such Object");
    EXPECT_EQ(session.searches.at(2).scope, LdapScope::base);
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
