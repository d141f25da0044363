// What every directory does when it is changed, and what it answers when it refuses.
#include <algorithm>
#include <map>

#include "contract/directory_under_test.h"
#include "platform/lab/syntax.h"

namespace wsadmin::platform {
namespace {

using ChangeContract = DirectoryContract;
using Values = std::vector<std::string>;
constexpr auto add = LdapModify::add;
constexpr auto remove = LdapModify::remove;
constexpr auto replace = LdapModify::replace;

TEST_P(ChangeContract, AddAnswers) {
    makeUnit("OU=a");
    make("CN=there");
    for (const Json& row : rows("add")) {
        LdapEntry entry{row["add"], {}};
        for (const auto& [name, values] : row["with"].items()) entry.attributes.push_back({name, values});
        EXPECT_EQ(textOf(session_->add(entry)), expected(row)) << row;
    }
    EXPECT_EQ(found("(cn=*)"), "new there");
    EXPECT_EQ(values(at("CN=new"), "zre-QuorinEnabled"), Values{"7"});
}

TEST_P(ChangeContract, ModifyAnswers) {
    make("CN=one", {{"zre-NameValuePair", {"a=1", "b=2"}}, {"zre-ClusterName", {"x"}}});
    const std::map<std::string, LdapModify> operations = {
        {"add", add}, {"remove", remove}, {"replace", replace}};
    for (const Json& row : rows("modify")) {
        const auto done = session_->modify(
            at("CN=one"), {{operations.at(row["operation"]), row["attribute"], row["values"]}});
        EXPECT_EQ(textOf(done), expected(row)) << row;
    }
    EXPECT_EQ(values(at("CN=one"), "zre-NameValuePair"), (Values{"x", "y"}));
    EXPECT_EQ(values(at("CN=one"), "zre-ClusterName"), Values{"w"});
    EXPECT_EQ(values(at("CN=one"), "zre-QuorinEnabled"), Values{"-1"});
    EXPECT_EQ(modify(at("CN=nope"), {{replace, "zre-ClusterName", {"w"}}}), ldapNoSuchObject);
    EXPECT_EQ(modify("no name", {{replace, "zre-ClusterName", {"w"}}}), ldapInvalidDnSyntax);
}

TEST_P(ChangeContract, ModificationsApplyTogetherOrNotAtAll) {
    make("CN=one", {{"zre-NameValuePair", {"a=1"}}, {"zre-ClusterName", {"x"}}});
    EXPECT_EQ(modify(at("CN=one"), {{remove, "zre-NameValuePair", {"a=1"}},
                                    {add, "zre-NameValuePair", {"a=2"}},
                                    {replace, "zre-ClusterName", {"y"}}}),
              ldapSuccess);
    EXPECT_EQ(modify(at("CN=one"), {{replace, "zre-ClusterName", {"z"}},
                                    {add, "zre-NameValuePair", {"b=1"}},
                                    {remove, "zre-NameValuePair", {"nobody"}}}),
              ldapNoSuchAttribute);
    EXPECT_EQ(values(at("CN=one"), "zre-NameValuePair"), Values{"a=2"});
    EXPECT_EQ(values(at("CN=one"), "zre-ClusterName"), Values{"y"});
    EXPECT_EQ(modify(at("CN=one"), {{remove, "zre-ClusterName", {"y"}}, {add, "zre-ClusterName", {"q"}}}),
              ldapSuccess);
}

TEST_P(ChangeContract, DeletingAndTombstones) {
    makeUnit("OU=a");
    make("CN=one,OU=a");
    make("CN=two", {{"zre-ConnectionServerDN", {at("CN=one,OU=a")}}});
    EXPECT_EQ(codeOf(session_->remove(at("OU=nope"))), ldapNoSuchObject);
    EXPECT_EQ(codeOf(session_->remove(at("OU=a"))), ldapNotAllowedOnNonLeaf);
    const auto guid = read(at("CN=one,OU=a"), {"objectGUID"});
    ASSERT_TRUE(guid);
    EXPECT_EQ(codeOf(session_->remove(at("OU=a"), {{controls::treeDelete, {}, true}})), ldapSuccess);
    EXPECT_EQ(found("(cn=*)"), "two");

    const std::string deleted = "CN=Deleted Objects," + suffix();
    const std::string name = "one\nDEL:" + lab::guidToText(guid->first("objectGUID"));
    LdapSearch search{deleted, LdapScope::subtree, "(isDeleted=TRUE)", {"isDeleted"}, {}, 0};
    EXPECT_EQ(codeOf(session_->search(search)), expected(ldapNoSuchObject, ldapSuccess));
    search.controls = {{controls::showDeleted, {}, true},
                       {controls::pagedResults, encodePageControl({1000, {}}), true}};
    const auto result = session_->search(search);
    ASSERT_TRUE(result) << codeOf(result);
    const auto tombstone =
        std::ranges::find_if(result->entries, [&](const auto& entry) { return rdnValue(entry.dn) == name; });
    ASSERT_NE(tombstone, result->entries.end());
    EXPECT_EQ(tombstone->first("isDeleted"), "TRUE");
    EXPECT_NE(tombstone->dn.find("\\0ADEL:"), std::string::npos) << tombstone->dn;

    // A reference that is not a link stays, and shows what it refers to now.
    const auto reference = values(at("CN=two"), "zre-ConnectionServerDN");
    ASSERT_EQ(reference.size(), 1U);
    EXPECT_EQ(rdnValue(reference[0]), name);
    make("CN=one");  // the name is free again
    EXPECT_EQ(codeOf(session_->remove(suffix())), ldapUnwillingToPerform);
}

TEST_P(ChangeContract, RenamingAndMoving) {
    makeUnit("OU=a");
    makeUnit("OU=b");
    make("CN=one,OU=a", {{"zre-ClusterName", {"x"}}});
    make("CN=taken,OU=a");
    make("CN=refers", {{"zre-ConnectionServerDN", {at("CN=one,OU=a")}}});
    for (const Json& row : rows("rename")) {
        const auto done =
            session_->rename(row["dn"], row["as"], row.value("parent", ""), !row.contains("keepOld"));
        EXPECT_EQ(textOf(done), expected(row)) << row;
    }
    EXPECT_EQ(found("(zre-ClusterName=x)", LdapScope::oneLevel, at("OU=c")), "new");
    EXPECT_EQ(found("(cn=one)"), "");
    EXPECT_EQ(values(at("CN=refers"), "zre-ConnectionServerDN"), Values{at("CN=new,OU=c")});
    // Samba still looks for the old name.
    EXPECT_EQ(found("(zre-ConnectionServerDN=" + at("CN=new,OU=c") + ")"), isLab() ? "refers" : "");
}

TEST_P(ChangeContract, MembersAndForeignPrincipals) {
    const auto sid = freshSid(), other = freshSid();
    make("CN=desk", {{"objectSid", {binarySid(freshSid())}}}, "zre-DesktopApplication");
    const auto desk = at("CN=desk");
    EXPECT_EQ(modify(desk, {{add, "member", {principalDn(sid)}}}),
              ldapNoSuchObject);  // there is none yet
    EXPECT_EQ(modify(desk, {{add, "member", {"<SID=" + sid + ">"}}}), ldapSuccess);
    EXPECT_EQ(values(desk, "member"), Values{principalDn(sid)});
    const auto principal = read(principalDn(sid), {"objectSid", "objectClass"});
    ASSERT_TRUE(principal);
    EXPECT_EQ(principal->first("objectSid"), binarySid(sid));
    EXPECT_EQ(principal->all("objectClass").back(), "foreignSecurityPrincipal");
    EXPECT_EQ(modify(desk, {{add, "member", {"<SID=" + sid + ">"}}}), ldapAlreadyExists);
    EXPECT_EQ(modify(desk, {{add, "member", {principalDn(sid)}}}), ldapAlreadyExists);
    for (const auto& member :
         {"<SID=" + sid + ">", principalDn(sid), "cn=" + sid + ", cn=foreignsecurityprincipals," + suffix()})
        EXPECT_EQ(found("(&(objectClass=zre-DesktopApplication)(|(member=" + member + ")))"), "desk")
            << member;
    EXPECT_EQ(found("(member=<SID=" + other + ">)"), "");
    EXPECT_EQ(modify(desk, {{remove, "member", {"<SID=" + sid + ">"}}}), ldapSuccess);
    EXPECT_EQ(modify(desk, {{remove, "member", {principalDn(sid)}}}), ldapUnwillingToPerform);
    EXPECT_EQ(modify(desk, {{add, "member", {principalDn(sid)}}}), ldapSuccess);
    EXPECT_EQ(modify(principalDn(sid), {{add, "description", {"USER=a"}}}), ldapSuccess);
    EXPECT_EQ(modify(principalDn(sid), {{add, "description", {"EMAIL="}}}), ldapSuccess);

    // With the principal go the links to it.
    EXPECT_EQ(codeOf(session_->remove(principalDn(sid))), ldapSuccess);
    EXPECT_EQ(values(desk, "member"), Values{});
}

TEST_P(ChangeContract, ConflictEntries) {
    makeUnit("OU=a");
    const std::string marker = "\\0ACNF:33333333-0000-4000-8000-000000000001";
    make("CN=clean");
    make("CN=clean" + marker);
    make("CN=free" + marker, {{"zre-ConnectionServerDN", {at("CN=clean" + marker)}}});
    const auto entry = read(at("CN=clean" + marker), {"name"});
    ASSERT_TRUE(entry);
    EXPECT_NE(entry->dn.find(marker), std::string::npos) << entry->dn;
    EXPECT_EQ(codeOf(session_->rename(at("CN=clean" + marker), "CN=clean", "", true)), ldapAlreadyExists);
    EXPECT_EQ(codeOf(session_->rename(at("CN=free" + marker), "CN=free", "", true)), ldapSuccess);
    EXPECT_EQ(modify(at("CN=free"), {{replace, "zre-ConnectionServerDN", {at("CN=clean")}}}), ldapSuccess);
    EXPECT_EQ(codeOf(session_->remove(at("CN=clean" + marker), {{controls::treeDelete, {}, true}})),
              ldapSuccess);
    EXPECT_EQ(found("(cn=*)"), "clean free");
}

TEST_P(ChangeContract, TimesFollowChanges) {
    make("CN=one", {{"zre-ClusterName", {"x"}}});
    const auto before = read(at("CN=one"));
    ASSERT_TRUE(before);
    EXPECT_EQ(modify(at("CN=one"), {{replace, "zre-ClusterName", {"y"}}}), ldapSuccess);
    const auto after = read(at("CN=one"));
    ASSERT_TRUE(after);
    EXPECT_EQ(after->first("whenCreated"), before->first("whenCreated"));
    EXPECT_GE(after->first("whenChanged"), before->first("whenChanged"));
    EXPECT_EQ(after->first("objectGUID"), before->first("objectGUID"));
    EXPECT_GT(std::stoul(std::string(after->first("uSNChanged"))),
              std::stoul(std::string(before->first("uSNChanged"))));
}

INSTANTIATE_TEST_SUITE_P(Directory, ChangeContract, testing::Values("lab", "server"),
                         [](const auto& one) { return one.param; });

}  // namespace
}  // namespace wsadmin::platform
