// The copies of people's names beside their SIDs, on a server that has more of them than one page.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "integration/directory.h"
#include "integration/ldif.h"
#include "integration/tool.h"

namespace integration {
namespace {

constexpr int people = 80, strangers = 220;  // a person costs eight changes, a stranger nothing
constexpr std::size_t page = 250;
constexpr char unit[] = "OU=Many,DC=corp,DC=example", role[] = "CN=Many,OU=Groups,DC=vdi,DC=talvex,DC=int",
               container[] = "CN=ForeignSecurityPrincipals,DC=vdi,DC=talvex,DC=int";

std::string principalOf(const std::string& sid) {
    return "CN=" + sid + "," + container;
}

// All of an attribute, in the server's order.
using Search = std::string (*)(const std::string&, const std::vector<std::string>&);
std::vector<LdifRecord> all(Search search, const std::string& base, const std::string& filter,
                            const std::string& attribute) {
    return ldifRecords(search("ldapsearch", {"-LLL", "-o", "ldif-wrap=no", "-E", "pr=250/noprompt", "-b",
                                             base, filter, attribute}),
                       attribute);
}

std::vector<LdifRecord> principals(const std::string& attribute) {
    return all(onPod, container, "(&(objectclass=foreignSecurityPrincipal)(cn=*))", attribute);
}

std::set<std::string> principalsOfUsers() {
    std::set<std::string> names;
    for (const LdifRecord& user : all(onCorp, "DC=corp,DC=example", "(objectClass=user)", "objectSid"))
        for (const std::string& sid : user.values) names.insert(principalOf(sidText(sid)));
    return names;
}

std::map<std::string, std::vector<std::string>> changeNumbers() {
    std::map<std::string, std::vector<std::string>> numbers;
    for (LdifRecord& principal : principals("uSNChanged"))
        numbers.emplace(principal.dn, std::move(principal.values));
    return numbers;
}

// People of the users' domain, and principals of theirs and of strangers, while the case lasts.
class ManyPrincipals : public testing::Test {
  protected:
    void SetUp() override {
        forgetDescriptions();
        std::string users = "dn: " + std::string(unit) + "\nobjectClass: organizationalUnit\n";
        for (int number = 1; number <= people; ++number)
            users += "\ndn: CN=Many " + std::to_string(number) + "," + unit +
                     "\nobjectClass: user\nsAMAccountName: many" + std::to_string(number) + "\n";
        onCorp("ldapadd", {"-f", folder_.write("users.ldif", users)});
        for (const LdifRecord& user : all(onCorp, unit, "(objectClass=user)", "objectSid"))
            sids_.push_back(sidText(user.values.at(0)));
        for (int number = 1; number <= strangers; ++number)
            sids_.push_back("S-1-5-21-4000-4000-4000-" + std::to_string(5000 + number));
        // Nobody may add a principal: the server makes those of its members.
        std::string members = "dn: " + std::string(role) + "\nobjectClass: group\n";
        for (const std::string& sid : sids_) members += "member: <SID=" + sid + ">\n";
        onPod("ldapadd", {"-f", folder_.write("members.ldif", members)});
    }

    void TearDown() override {
        onPod("ldapdelete", {role});
        std::string names;
        for (const std::string& sid : sids_) names += principalOf(sid) + "\n";
        onPod("ldapdelete", {"-f", folder_.write("names", names)});
        onCorp("ldapdelete", {"-e", "!1.2.840.113556.1.4.805", unit});  // the whole tree
        forgetDescriptions();
    }

  private:
    void forgetDescriptions() {
        std::string changes;
        for (const LdifRecord& principal : principals("description"))
            if (!principal.values.empty())
                changes += "dn: " + principal.dn + "\nchangetype: modify\nreplace: description\n\n";
        if (!changes.empty()) onPod("ldapmodify", {"-f", folder_.write("changes.ldif", changes)});
    }

    wstest::TempFolder folder_;
    std::vector<std::string> sids_;
};

TEST_F(ManyPrincipals, ThoseOfTheFirstPageChangeOnce) {
    const auto pod = makePod(Place::server);
    std::vector<std::string> request = pod->options();
    request.emplace_back("updateAllUserFSPs");
    const auto known = principalsOfUsers();
    std::set<std::string> expected;
    std::size_t position = 0, beyond = 0;
    for (const LdifRecord& principal : principals("cn")) {
        const bool first = ++position <= page;
        if (!known.contains(principal.dn)) continue;
        if (first)
            expected.insert(principal.dn);
        else
            ++beyond;
    }
    ASSERT_GT(beyond, 0U);
    ASSERT_LT(expected.size(), page);
    const auto before = changeNumbers();

    const Answer answer = ask(Build::native, request);

    EXPECT_EQ(answer.status, 0) << answer.errors;
    EXPECT_TRUE(answer.json.at("result").empty());
    const auto after = changeNumbers();
    std::set<std::string> changed;
    for (const auto& [name, number] : after)
        if (before.at(name) != number) changed.insert(name);
    EXPECT_EQ(changed, expected);
    for (const LdifRecord& principal : principals("description"))
        EXPECT_EQ(principal.values.size(), expected.contains(principal.dn) ? 8U : 0U) << principal.dn;

    EXPECT_EQ(ask(Build::native, request).status, 0);
    EXPECT_EQ(changeNumbers(), after);
}

}  // namespace
}  // namespace integration
