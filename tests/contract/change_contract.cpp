// What every directory does when it is changed, and what it answers when it refuses.
#include <algorithm>

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
    const std::string property = "zre-PropertyObject";
    const struct {
        std::string dn;
        std::vector<LdapAttribute> attributes;
        Codes code;
    } table[] = {
        {at("CN=new"),
         {{"objectClass", {property}}, {"cn", {"new"}}, {"zre-QuorinEnabled", {"007"}}},
         ldapSuccess},
        {at("cn=THERE"), {{"objectClass", {property}}}, ldapAlreadyExists},
        {at("CN=x,CN=nope"), {{"objectClass", {property}}}, ldapNoSuchObject},
        {at("CN=x"), {{"cn", {"x"}}}, ldapObjectClassViolation},
        {at("CN=x"),
         {{"objectClass", {property}}, {"cn", {"y"}}},
         {ldapNamingViolation, ldapInvalidDnSyntax}},
        {at("CN=x"), {{"objectClass", {property}}, {"cn", {"x", "y"}}}, ldapConstraintViolation},
        {at("CN=x"), {{"objectClass", {property}}, {"zre-ClusterName", {"a", "b"}}}, ldapConstraintViolation},
        {at("CN=x"),
         {{"objectClass", {property}}, {"zre-NameValuePair", {"a", "a"}}},
         ldapAttributeOrValueExists},
        {at("CN=x"), {{"objectClass", {property}}, {"zre-QuorinEnabled", {"abc"}}}, ldapInvalidSyntax},
        {at("CN=x"), {{"objectClass", {property}}, {"zre-ClusterName", {""}}}, ldapInvalidSyntax},
        {at("CN=x"),
         {{"objectClass", {property}}, {"zre-ConnectionServerDN", {at("CN=nope")}}},
         ldapConstraintViolation},
        {at("CN=x"),
         {{"objectClass", {property}}, {"objectGUID", {std::string(16, 'x')}}},
         ldapUnwillingToPerform},
        {at("CN=x"), {{"objectClass", {property}}, {"memberOf", {place()}}}, ldapUnwillingToPerform},
        {"CN=S-1-5-21-9-9-9-77,CN=ForeignSecurityPrincipals," + suffix(),
         {{"objectClass", {"foreignSecurityPrincipal"}}},
         {ldapUnwillingToPerform, ldapObjectClassViolation}},
        {"no name", {{"objectClass", {property}}}, ldapInvalidDnSyntax},
    };
    for (const auto& row : table)
        EXPECT_EQ(codeOf(session_->add({row.dn, row.attributes})), expected(row.code))
            << row.dn << " " << row.attributes.back().name;
    EXPECT_EQ(found("(cn=*)"), "new there");
    EXPECT_EQ(values(at("CN=new"), "zre-QuorinEnabled"), Values{"7"});
}

TEST_P(ChangeContract, ModifyAnswers) {
    make("CN=one", {{"zre-NameValuePair", {"a=1", "b=2"}}, {"zre-ClusterName", {"x"}}});
    const struct {
        const char* what;
        LdapModification change;
        Codes code;
    } table[] = {
        {"add", {add, "zre-NameValuePair", {"c=3"}}, ldapSuccess},
        {"add what is there", {add, "zre-NameValuePair", {"c=3"}}, ldapAttributeOrValueExists},
        {"add one twice", {add, "zre-NameValuePair", {"d=4", "d=4"}}, ldapAttributeOrValueExists},
        // Samba looks for the same bytes.
        {"add in other case", {add, "zre-NameValuePair", {"C=3"}}, {ldapAttributeOrValueExists, ldapSuccess}},
        {"add to single", {add, "zre-ClusterName", {"y"}}, ldapAttributeOrValueExists},
        {"add nothing", {add, "zre-VmPath", {}}, ldapConstraintViolation},
        {"delete in other case", {remove, "zre-NameValuePair", {"B=2"}}, ldapSuccess},
        {"delete an absent value", {remove, "zre-NameValuePair", {"b=2"}}, ldapNoSuchAttribute},
        {"delete an absent attribute", {remove, "zre-GUID", {}}, ldapNoSuchAttribute},
        {"delete the attribute", {remove, "zre-NameValuePair", {}}, ldapSuccess},
        {"replace with several", {replace, "zre-NameValuePair", {"x", "y"}}, ldapSuccess},
        {"replace with one twice", {replace, "zre-NameValuePair", {"x", "x"}}, ldapAttributeOrValueExists},
        {"replace single with two",
         {replace, "zre-ClusterName", {"y", "z"}},
         {ldapConstraintViolation, ldapAttributeOrValueExists}},
        {"replace with nothing", {replace, "zre-ClusterName", {}}, ldapSuccess},
        {"replace the absent with nothing", {replace, "zre-ClusterName", {}}, ldapSuccess},
        {"replace the absent", {replace, "zre-ClusterName", {"w"}}, ldapSuccess},
        {"empty", {replace, "zre-ClusterName", {""}}, ldapInvalidSyntax},
        {"no number", {replace, "zre-QuorinEnabled", {"1x"}}, ldapInvalidSyntax},
        {"number", {replace, "zre-QuorinEnabled", {"-1"}}, ldapSuccess},
        {"no name", {replace, "zre-ConnectionServerDN", {"nobody"}}, ldapInvalidDnSyntax},
        {"name of nobody", {replace, "zre-ConnectionServerDN", {at("CN=nope")}}, ldapConstraintViolation},
        {"the RDN", {replace, "cn", {"other"}}, ldapNotAllowedOnRdn},
        {"the name", {replace, "name", {"other"}}, ldapNotAllowedOnRdn},
        {"the GUID", {replace, "objectGUID", {std::string(16, 'x')}}, ldapConstraintViolation},
        {"the time", {replace, "whenCreated", {"20200101000000.0Z"}}, ldapConstraintViolation},
        {"a back link", {add, "memberOf", {place()}}, ldapUnwillingToPerform},
        {"another class", {replace, "objectClass", {"zre-VM"}}, ldapObjectClassViolation},
        {"an auxiliary class", {add, "objectClass", {"zre-NameValuePairs-a"}}, ldapSuccess},
    };
    for (const auto& row : table)
        EXPECT_EQ(modify(at("CN=one"), {row.change}), expected(row.code)) << row.what;
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
    EXPECT_EQ(codeOf(session_->search(search)), expected({ldapNoSuchObject, ldapSuccess}));
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
    const struct {
        const char* what;
        std::string dn, rdn, parent;
        bool deleteOld;
        Codes code;
    } table[] = {
        {"taken", at("CN=one,OU=a"), "CN=Taken", "", true, ldapAlreadyExists},
        {"nobody", at("CN=nope,OU=a"), "CN=x", "", true, ldapNoSuchObject},
        {"keep the old", at("CN=one,OU=a"), "CN=x", "", false, ldapUnwillingToPerform},
        {"other type", at("CN=one,OU=a"), "OU=x", "", true, {ldapNamingViolation, ldapUnwillingToPerform}},
        {"no parent", at("CN=one,OU=a"), "CN=one", at("OU=nope"), true, {ldapNoSuchObject, ldapOther}},
        {"no name", at("CN=one,OU=a"), "nonsense", "", true, {ldapInvalidDnSyntax, ldapOther}},
        {"below itself", at("OU=a"), "OU=a", at("OU=a"), true, ldapUnwillingToPerform},
        {"other case", at("CN=one,OU=a"), "CN=One", "", true, ldapSuccess},
        {"rename", at("CN=one,OU=a"), "CN=new", "", true, ldapSuccess},
        {"move", at("CN=new,OU=a"), "CN=new", at("OU=b"), true, ldapSuccess},
        {"rename a branch", at("OU=b"), "OU=c", "", true, ldapSuccess},
    };
    for (const auto& row : table)
        EXPECT_EQ(codeOf(session_->rename(row.dn, row.rdn, row.parent, row.deleteOld)), expected(row.code))
            << row.what;
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
