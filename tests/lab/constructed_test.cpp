// What a domain's directory works out of its accounts and groups beyond rows.jsonl: time, ranges, other
// directories.
#include "lab/directory_fixture.h"
#include "support/temp_folder.h"

namespace wsadmin::platform::lab {
namespace {

constexpr char computed[] = "msDS-User-Account-Control-Computed";

std::string computedControl(LdapSession& session, const char* filter) {
    const auto found = session.search({"DC=t", LdapScope::oneLevel, filter, {computed}, {}, 0});
    return std::string(found.value().entries.at(0).first(computed));
}

TEST(ConstructedAttributes, FollowTheDirectoryAndTheClock) {
    const std::string people = wstest::fileText(WS_SOURCE_DIR "/tests/lab/people.ldif");
    TestDirectory domain(people, activeDirectory());
    ASSERT_TRUE(domain.loaded) << failureText(domain.loaded.error());
    const auto session = domain.bound();
    EXPECT_EQ(codeOf(session->remove("CN=outer,DC=t")), ldapSuccess);
    const auto leaf = readEntry(*session, "CN=leaf,DC=t", {"tokenGroups;range=1-*"});
    EXPECT_EQ(leaf->entries.at(0).all("tokenGroups;range=1-*").size(), 2U);

    // Locked now, and so for the 30 minutes of the domain.
    EXPECT_EQ(
        codeOf(session->modify("CN=leaf,DC=t", {{LdapModify::replace, "lockoutTime", {"134116992000000000"}},
                                                {LdapModify::replace, "userAccountControl", {"512"}},
                                                {LdapModify::replace, "pwdLastSet", {"1"}}})),
        ldapSuccess);
    domain.clock->wait(std::chrono::minutes(30), nullptr);
    EXPECT_EQ(computedControl(*session, "(cn=leaf)"), "16");
    domain.clock->wait(std::chrono::seconds(1), nullptr);
    EXPECT_EQ(computedControl(*session, "(cn=leaf)"), "0");
    EXPECT_EQ(computedControl(*session, "(cn=stored)"), "7");
    EXPECT_EQ(computedControl(*session, "(ou=unit)"), "");

    const auto elsewhere =
        readEntry(*TestDirectory(people).bound(), "CN=leaf,DC=t", {"tokenGroups", computed});
    EXPECT_TRUE(elsewhere.value().entries.at(0).attributes.empty()) << "only in a domain";
}

}  // namespace
}  // namespace wsadmin::platform::lab
