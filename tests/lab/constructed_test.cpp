// What a domain's directory works out of its accounts and groups when it is asked by name.
#include <algorithm>

#include "lab/directory_fixture.h"

namespace wsadmin::platform::lab {
namespace {

using Names = std::vector<std::string>;

constexpr char content[] =
    "dn: DC=t\nobjectClass: domainDNS\nobjectSid: S-1-5-21-1-2-3\nlockoutDuration: -18000000000\n\n"  // 30
                                                                                                      // min
    "dn: CN=leaf,DC=t\nobjectClass: user\nobjectSid: S-1-5-21-1-2-3-1000\nprimaryGroupID: 513\n\n"
    "dn: CN=primary,DC=t\nobjectClass: group\nobjectSid: S-1-5-21-1-2-3-513\ngroupType: -2147483646\n\n"
    "dn: CN=aliases,DC=t\nobjectClass: group\nobjectSid: S-1-5-32-545\ngroupType: -2147483643\n"
    "member: CN=primary,DC=t\n\n"
    "dn: CN=inner,DC=t\nobjectClass: group\nobjectSid: S-1-5-21-1-2-3-1101\ngroupType: -2147483646\n"
    "member: CN=leaf,DC=t\nmember: CN=outer,DC=t\n\n"  // a circle
    "dn: CN=outer,DC=t\nobjectClass: group\nobjectSid: S-1-5-21-1-2-3-1102\ngroupType: -2147483644\n"
    "member: CN=inner,DC=t\nmember: CN=leaf,DC=t\n\n"
    "dn: CN=letters,DC=t\nobjectClass: group\nobjectSid: S-1-5-21-1-2-3-1103\ngroupType: 2\n"  // distribution
    "member: CN=leaf,DC=t\n\n"
    "dn: CN=readers,DC=t\nobjectClass: group\nobjectSid: S-1-5-21-1-2-3-1104\ngroupType: -2147483646\n"
    "member: CN=letters,DC=t\nmanagedBy: CN=leaf,DC=t\n\n"
    "dn: CN=lonely,DC=t\nobjectClass: user\nobjectSid: S-1-5-21-1-2-3-1001\nprimaryGroupID: 999\n\n"
    "dn: CN=stored,DC=t\nobjectClass: user\nobjectSid: S-1-5-21-1-2-3-1002\nprimaryGroupID: 513\n"
    "tokenGroups: S-1-5-21-9-9-9-9\nmsDS-User-Account-Control-Computed: 7\nlockoutTime: 1\npwdLastSet: 0\n\n"
    "dn: OU=unit,DC=t\nobjectClass: organizationalUnit\n";

DirectorySettings domain() {
    DirectorySettings settings;
    settings.activeDirectory = true;
    return settings;
}

// The values of one attribute of the only entry that is found; SIDs as text, sorted.
Names shown(LdapSession& session, const LdapSearch& search, const std::string& attribute) {
    const auto found = session.search(search);
    EXPECT_EQ(found.value().entries.size(), 1U);
    Names values;
    for (const auto& value : found->entries.at(0).all(attribute)) {
        const auto sid = Sid::fromBytes(value);
        values.push_back(sid ? sid->text() : value);
    }
    std::ranges::sort(values);
    return values;
}

TEST(ConstructedAttributes, TokenGroups) {
    TestDirectory test(content, domain());
    ASSERT_TRUE(test.loaded) << failureText(test.loaded.error());
    const auto session = test.bound();
    const Names all = {"S-1-5-21-1-2-3-1101", "S-1-5-21-1-2-3-1102", "S-1-5-21-1-2-3-513", "S-1-5-32-545"};
    const struct {
        const char* name;
        std::vector<std::string> asked;
        LdapScope scope;
        Names sids;
    } table[] = {
        {"CN=leaf", {"tokenGroups"}, LdapScope::base, all},
        {"CN=leaf", {"*", "TOKENGROUPS"}, LdapScope::base, all},
        {"CN=leaf", {}, LdapScope::base, {}},
        {"CN=leaf", {"*"}, LdapScope::base, {}},
        {"CN=leaf", {"tokenGroups"}, LdapScope::subtree, {}},
        {"CN=inner", {"tokenGroups"}, LdapScope::base, {"S-1-5-21-1-2-3-1102"}},  // not itself
        {"CN=lonely", {"tokenGroups"}, LdapScope::base, {}},
        {"CN=stored", {"tokenGroups"}, LdapScope::base, {"S-1-5-21-9-9-9-9"}},
        {"OU=unit", {"tokenGroups"}, LdapScope::base, {}},
    };
    for (const auto& row : table) {
        const LdapSearch search{
            row.name + std::string(",DC=t"), row.scope, "(objectClass=*)", row.asked, {}, 0};
        EXPECT_EQ(shown(*session, search, "tokenGroups"), row.sids) << row.name;
    }
    EXPECT_EQ(codeOf(session->remove("CN=outer,DC=t")), ldapSuccess);
    const LdapSearch leaf{
        "CN=leaf,DC=t", LdapScope::base, "(objectClass=*)", {"tokenGroups;range=1-*"}, {}, 0};
    EXPECT_EQ(shown(*session, leaf, "tokenGroups;range=1-*").size(), 2U);
}

TEST(ConstructedAttributes, AccountControl) {
    TestDirectory test(content, domain());
    const auto session = test.bound();
    // The clock stands at 2026-01-01T00:00:00Z.
    const std::string now = "134116992000000000", before = "134116973999999999", soon = "134116974000000000";
    const struct {
        std::string lockout, password, control, computed;
        const char* duration = "-18000000000";
    } table[] = {
        {"", "", "512", "0"},         {"0", "1", "512", "0"},
        {now, "1", "512", "16"},      {soon, "1", "512", "16"},
        {before, "1", "512", "0"},    {"1", "1", "512", "16", ""},
        {"1", "1", "512", "16", "0"}, {"1", "1", "512", "16", "-9223372036854775808"},
        {"", "0", "512", "8388608"},  {now, "0", "514", "8388624"},
        {"", "0", "66048", "0"},   // the password never expires
        {"", "0", "262656", "0"},  // a smart card stands for it
        {"", "0", "4096", "0"},    // a computer's
    };
    const auto set = [&](const std::string& dn, const char* attribute, const std::string& value) {
        const auto values = value.empty() ? Names{} : Names{value};
        EXPECT_EQ(codeOf(session->modify(dn, {{LdapModify::replace, attribute, values}})), ldapSuccess);
    };
    const LdapSearch one{"DC=t", LdapScope::oneLevel, "(cn=leaf)", {"msDS-User-Account-Control-Computed"}, {},
                         0};
    for (const auto& row : table) {
        set("DC=t", "lockoutDuration", row.duration);
        set("CN=leaf,DC=t", "lockoutTime", row.lockout);
        set("CN=leaf,DC=t", "pwdLastSet", row.password);
        set("CN=leaf,DC=t", "userAccountControl", row.control);
        EXPECT_EQ(shown(*session, one, "msDS-User-Account-Control-Computed"), Names{row.computed})
            << row.lockout << " " << row.password << " " << row.control << " " << row.duration;
    }
    set("CN=leaf,DC=t", "lockoutTime", now);
    set("DC=t", "lockoutDuration", "-18000000000");
    test.clock->wait(std::chrono::minutes(30), nullptr);
    EXPECT_EQ(shown(*session, one, "msDS-User-Account-Control-Computed"), Names{"16"});
    test.clock->wait(std::chrono::seconds(1), nullptr);
    EXPECT_EQ(shown(*session, one, "msDS-User-Account-Control-Computed"), Names{"0"});

    auto other = one;
    other.filter = "(cn=stored)";
    EXPECT_EQ(shown(*session, other, "msDS-User-Account-Control-Computed"), Names{"7"});
    other.filter = "(ou=unit)";
    EXPECT_EQ(shown(*session, other, "msDS-User-Account-Control-Computed"), Names{});
}

TEST(ConstructedAttributes, OnlyInADomain) {
    TestDirectory test(content);
    const auto session = test.bound();
    const LdapSearch leaf{"CN=leaf,DC=t",
                          LdapScope::base,
                          "(objectClass=*)",
                          {"tokenGroups", "msDS-User-Account-Control-Computed"},
                          {},
                          0};
    EXPECT_TRUE(session->search(leaf).value().entries.at(0).attributes.empty());
}

}  // namespace
}  // namespace wsadmin::platform::lab
