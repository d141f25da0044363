// The copy of people's names beside their SIDs.
#include "identity/foreign_principals.h"

#include <gtest/gtest.h>

#include "support/scripted_ldap.h"

using namespace wstest;
using namespace wsadmin;

namespace {

// Which values are written for an account of no domain, and what ends the writing: the cases have the rest.
TEST(UpdateFsp, WritesAllTagsInOrderUntilTheEntryOrTheServerIsGone) {
    const ScriptedAnswer found{.entries = {entry("CN=X")}};
    const struct {
        const char* dn;
        ScriptedAnswer answer;
        int code;
        std::size_t sent;
        std::wstring sentence;  // empty: a success
    } rows[] = {
        {"", found, 0, 0, L"No FSP DN was specified for the operation"},
        {"cn=x", {}, 0, 0, L"FSP entry not found"},
        {"cn=x", found, 0, 8, L""},
        {"cn=x", found, ldapInsufficientRights, 8, L""},
        {"cn=x", found, ldapNoSuchObject, 1, L"FSP entry not found"},
        {"cn=x", found, ldapTimeout, 1, L"LDAP not initialized"},
    };
    const std::vector<std::string> tags = {"USER=uma",   "DOMAIN=", "EMAIL=", "DISPLAYNAME=uma",
                                           "GIVENNAME=", "SN=",     "CN=",    "DISTINGUISHEDNAME="};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.code);
        CORE::PropertyBag information;
        information.set(L"fspDN", std::string_view(row.dn));
        information.set(L"account-name", L"uma");
        ScriptedSession session;
        session.answers = {row.answer};
        session.onModify = [&row](const ModifyCall&) { return row.code; };
        const auto done = updateFsp(session, information);
        EXPECT_EQ(done ? L"" : done.error().text, row.sentence);
        ASSERT_EQ(session.modifies.size(), row.sent);
        for (std::size_t i = 0; i < row.sent; ++i)
            EXPECT_EQ(session.modifies[i], (ModifyCall{"CN=X", LdapModify::add, "description", {tags[i]}}));
    }
}

}  // namespace
