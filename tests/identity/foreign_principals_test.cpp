// The copy of people's names beside their SIDs.
#include "identity/foreign_principals.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/scripted_ldap.h"

using namespace wstest;
using namespace wsadmin;
using testing::ElementsAre;

namespace {

// One answer of a scripted directory for one principal.
TEST(UpdateFsp, SaysWhyItCouldNot) {
    CORE::PropertyBag named;
    named.set(L"fspDN", L"cn=x");
    const struct {
        const char* what;
        CORE::PropertyBag information;
        ScriptedAnswer answer;
        std::wstring sentence;
    } rows[] = {
        {"no name", {}, {}, L"No FSP DN was specified for the operation"},
        {"no entry", named, {}, L"FSP entry not found"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        ScriptedSession session;
        session.answers = {row.answer};
        const auto done = updateFsp(session, row.information);
        ASSERT_FALSE(done);
        EXPECT_EQ(done.error().text, row.sentence);
        EXPECT_TRUE(session.modifies.empty());
    }
}

TEST(UpdateFsp, SendsNothingMoreToAnEntryOrAServerThatIsGone) {
    CORE::PropertyBag information;
    information.set(L"fspDN", L"cn=x");
    const struct {
        int code;
        std::size_t sent;
        std::wstring sentence;  // empty: a success
    } rows[] = {
        {ldapInsufficientRights, 8, L""},
        {ldapNoSuchObject, 1, L"FSP entry not found"},
        {ldapServerDown, 1, L"LDAP not initialized"},
        {ldapTimeout, 1, L"LDAP not initialized"},
    };
    for (const auto& row : rows) {
        ScriptedSession session;
        session.answers = {{.entries = {entry("CN=X")}}};
        session.onModify = [&row](const ModifyCall&) { return row.code; };
        const auto done = updateFsp(session, information);
        EXPECT_EQ(done ? L"" : done.error().text, row.sentence);
        EXPECT_EQ(session.modifies.size(), row.sent);
    }
}

TEST(UpdateFsp, WritesAllTagsInOrderAlsoWithoutValues) {
    CORE::PropertyBag information;
    information.set(L"fspDN", L"cn=x");
    information.set(L"account-name", L"uma");  // of no domain
    ScriptedSession session;
    session.answers = {{.entries = {entry("CN=X")}}};
    ASSERT_TRUE(updateFsp(session, information));
    std::vector<std::string> written;
    for (const ModifyCall& call : session.modifies) {
        EXPECT_EQ(call.dn, "CN=X");
        EXPECT_EQ(call.attribute, "description");
        EXPECT_EQ(call.operation, LdapModify::add);
        written.push_back(call.values.at(0));
    }
    EXPECT_THAT(written, ElementsAre("USER=uma", "DOMAIN=", "EMAIL=", "DISPLAYNAME=uma",
                                     "GIVENNAME=", "SN=", "CN=", "DISTINGUISHEDNAME="));
}

}  // namespace
