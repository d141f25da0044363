#include "platform/ldap/ldap_pages.h"

#include <gtest/gtest.h>

#include "support/scripted_ldap.h"

namespace {

using namespace wstest;

ScriptedAnswer page(const char* name, const char* cookie) {
    return pageAnswer(*name ? std::vector<LdapEntry>{entry(name)} : std::vector<LdapEntry>(), cookie);
}

TEST(LdapPages, EndWhereAServerMakesNoProgressOrGivesTooMuch) {
    const struct {
        const char* what;
        std::vector<ScriptedAnswer> pages;
        int code;
        const wchar_t* sentence;
    } rows[] = {
        {"the same page",
         {page("cn=a", "c"), page("cn=a", "c")},
         84,
         L"The directory gives the same page again"},
        {"empty pages, one cookie",
         {page("", "c"), page("", "c")},
         84,
         L"The directory gives the same page again"},
        {"empty pages",
         {page("", "1"), page("", "2"), page("", "3"), page("", "4")},
         70,
         L"The directory's answer has more than 3 entries (max-entries)"},
        {"new pages",
         {page("cn=a", "c"), page("cn=b", "c"), page("cn=c", "c"), page("cn=d", "c")},
         70,
         L"The directory's answer has more than 3 entries (max-entries)"},
        {"as some servers have it", {page("cn=a", "c"), page("cn=b", "c"), page("cn=c", "")}, 0, L""},
    };
    for (const auto& row : rows) {
        ScriptedSession session;
        session.most.entries = 3;
        session.answers = {row.pages.begin(), row.pages.end()};
        LdapPages pages(session, {});
        std::vector<LdapEntry> some;
        auto more = pages.next(some);
        while (more && *more) more = pages.next(some);
        EXPECT_EQ(more ? 0 : more.error().cause.code, row.code) << row.what;
        EXPECT_EQ(more ? L"" : more.error().cause.text, row.sentence) << row.what;
        EXPECT_EQ(session.searches.back().spent.entries, session.searches.size() - 1) << row.what;
    }
    ScriptedSession slow;
    slow.most.time = std::chrono::milliseconds(0);
    slow.answers = {page("cn=a", "")};
    std::vector<LdapEntry> some;
    EXPECT_EQ(LdapPages(slow, {}).next(some).error().cause.text,
              L"The directory's answer takes longer than 0 ms (search-timeout)");
}

}  // namespace
