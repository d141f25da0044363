// What every domain's directory works out of its accounts and groups.
#include <algorithm>

#include "contract/directory_under_test.h"
#include "platform/ldap/sid.h"

namespace wsadmin::platform {
namespace {

using Values = std::vector<std::string>;

class AccountsContract : public DirectoryContract {
  protected:
    // A domain controller gives SIDs and the primary group itself.
    void makePrincipal(const std::string& name, const std::string& objectClass,
                       std::vector<LdapAttribute> attributes) {
        if (isLab()) {
            const auto sid = "S-1-5-21-7-7-7-" + std::to_string(++lastRid_);
            attributes.push_back({"objectSid", {binarySid(sid)}});
            if (objectClass == "user") attributes.push_back({"primaryGroupID", {"513"}});
        }
        make("CN=" + name, std::move(attributes), objectClass);
    }
    void makeGroup(const std::string& name, const std::string& type, const std::string& member) {
        makePrincipal(name, "group", {{"groupType", {type}}, {"member", {at("CN=" + member)}}});
    }
    std::string sidOf(const std::string& name) {
        const auto values = this->values(at("CN=" + name), "objectSid");
        return values.empty() ? "" : Sid::fromBytes(values.front()).value().text();
    }

  private:
    int lastRid_ = 1000;
};

constexpr char globalGroup[] = "-2147483646", localGroup[] = "-2147483644", distributionList[] = "2";

TEST_P(AccountsContract, TokenGroupsAreTheSecurityGroupsOfAnEntry) {
    makePrincipal("user", "user", {});
    makeGroup("inner", globalGroup, "user");
    makeGroup("outer", localGroup, "inner");
    makeGroup("outermost", localGroup, "outer");
    EXPECT_EQ(modify(at("CN=outer"), {{LdapModify::add, "member", {at("CN=outermost")}}}), ldapSuccess);
    makeGroup("letters", distributionList, "user");
    makeGroup("readers", localGroup, "letters");  // through the list, which passes nothing on

    const auto user = Sid::parse(sidOf("user")).value();
    Values expected = {sidOf("inner"), sidOf("outer"), sidOf("outermost"), user.domain().text() + "-513",
                       "S-1-5-32-545"};
    std::ranges::sort(expected);
    Values answered;
    for (const auto& value : values(at("CN=user"), "tokenGroups"))
        answered.push_back(Sid::fromBytes(value).value().text());
    std::ranges::sort(answered);
    EXPECT_EQ(answered, expected);
    EXPECT_EQ(values(place(), "tokenGroups"), Values{});
    const auto unasked = read(at("CN=user"));
    ASSERT_TRUE(unasked);
    EXPECT_FALSE(unasked->find("tokenGroups"));
}

TEST_P(AccountsContract, ComputedAccountControl) {
    makePrincipal("user", "user", {{"userAccountControl", {"544"}}});
    const struct {
        const char *control, *password, *lockout, *computed;
    } table[] = {
        {"544", "-1", "0", "0"},
        {"544", "0", "0", "8388608"},
        {"66080", "0", "0", "0"},   // the password never expires
        {"262688", "0", "0", "0"},  // a smart card stands for it
        {"544", "-1", "9000000000000000000", "16"},
        {"546", "0", "9000000000000000000", "8388624"},
        {"544", "-1", "1", "0"},  // for longer than the domain's lockoutDuration
    };
    const auto set = [&](const char* attribute, const char* value) {
        EXPECT_EQ(modify(at("CN=user"), {{LdapModify::replace, attribute, {value}}}), ldapSuccess)
            << attribute;
    };
    for (const auto& row : table) {
        set("userAccountControl", row.control);
        set("pwdLastSet", row.password);
        set("lockoutTime", row.lockout);
        const auto result = session_->search(
            {place(), LdapScope::subtree, "(cn=user)", {"msDS-User-Account-Control-Computed"}, {}, 0});
        ASSERT_TRUE(result);
        ASSERT_EQ(result->entries.size(), 1U);
        EXPECT_EQ(result->entries[0].first("msDS-User-Account-Control-Computed"), row.computed)
            << row.control << " " << row.password << " " << row.lockout;
    }
}

INSTANTIATE_TEST_SUITE_P(Directory, AccountsContract, testing::Values("domain", "server"),
                         [](const auto& one) { return one.param; });

}  // namespace
}  // namespace wsadmin::platform
