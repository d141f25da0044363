#include "platform/ldap/ldap_ranges.h"

#include <gtest/gtest.h>

#include "support/scripted_ldap.h"

namespace {

using namespace wstest;

std::vector<std::string> values(int from, int to) {
    std::vector<std::string> all;
    for (int i = from; i <= to; ++i) all.push_back(std::to_string(i));
    return all;
}

ScriptedAnswer part(const std::string& name, std::vector<std::string> some) {
    return {.entries = {entry("cn=d", {{name, std::move(some)}})}};
}

TEST(LdapRanges, AreJoinedToTheLastOne) {
    ScriptedSession session;
    session.answers = {part("member;range=3-5", values(3, 5)), part("Member;Range=6-*", values(6, 7))};
    const auto all = allValues(session, "cn=d", {"member;range=0-2", values(0, 2)});
    ASSERT_TRUE(all);
    EXPECT_EQ(*all, values(0, 7));
    ASSERT_EQ(session.searches.size(), 2U);
    EXPECT_EQ(session.searches[0].attributes, (std::vector<std::string>{"member;range=3-*"}));
    EXPECT_EQ(session.searches[1].attributes, (std::vector<std::string>{"member;range=6-*"}));
    EXPECT_EQ(session.searches[1].base, "cn=d");
    EXPECT_EQ(session.searches[0].spent.entries, 3U);
    EXPECT_EQ(session.searches[1].spent.bytes, 6U);
}

TEST(LdapRanges, AreNeverHalf) {
    const struct {
        const char* what;
        std::vector<ScriptedAnswer> answers;
        int code;
    } rows[] = {
        {"a search fails", {part("member;range=3-5", values(3, 5)), {.waitCode = 51}}, 51},
        {"the entry is gone", {{}}, ldapNoSuchObject},
        {"the values are gone", {{.entries = {entry("cn=d")}}}, ldapNoSuchAttribute},
        {"the same range again", {part("member;range=0-2", values(0, 2))}, ldapDecodingError},
        {"too many", {part("member;range=3-5", values(3, 5)), part("member;range=6-*", values(6, 7))}, 70},
        {"a range that begins too far on", {part("member;range=4-*", values(4, 5))}, ldapDecodingError},
        {"an empty range that is not the last", {part("member;range=3-5", {})}, ldapDecodingError},
    };
    for (const auto& row : rows) {
        ScriptedSession session;
        session.answers = {row.answers.begin(), row.answers.end()};
        session.most.entries = 7;
        const auto all = allValues(session, "cn=d", {"member;range=0-2", values(0, 2)});
        ASSERT_FALSE(all) << row.what;
        EXPECT_EQ(all.error().code, row.code) << row.what;
    }
    for (const char* range :
         {"", "3", "3-", "-", "-5", "3-x", "3-2", "x-*", "3-**", "3-18446744073709551616"}) {
        ScriptedSession session;
        session.answers = {part(std::string("member;range=") + range, values(3, 5))};
        const auto all = allValues(session, "cn=d", {"member;range=0-2", values(0, 2)});
        EXPECT_EQ(all ? 0 : all.error().code, ldapDecodingError) << range;
    }
}

TEST(LdapRanges, AttributesAreFoundWholeOrInPart) {
    const std::vector<LdapAttribute> attributes = {
        {"member", {}}, {"members", {"x"}}, {"Member;range=0-1", {"a", "b"}}, {"cn", {"c"}}};
    const auto* const member = findValues(attributes, "member");
    ASSERT_NE(member, nullptr);
    EXPECT_EQ(member->values.size(), 2U);
    EXPECT_EQ(findValues(attributes, "cn")->values.front(), "c");
    EXPECT_EQ(findValues(attributes, "mem"), nullptr);
}

}  // namespace
