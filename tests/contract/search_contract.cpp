// What every directory answers to searches.
#include <algorithm>

#include "contract/directory_under_test.h"
#include "platform/lab/syntax.h"

namespace wsadmin::platform {
namespace {

using SearchContract = DirectoryContract;

// "\\01\\05...", as a filter takes bytes.
std::string escapedBytes(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) text += CORE::toUtf8(CORE::formatText(L"\\%02x", byte & 0xff));
    return text;
}

TEST_P(SearchContract, RootEntryNamesTheContexts) {
    const auto root = read(
        "", {"namingContexts", "defaultNamingContext", "configurationNamingContext", "schemaNamingContext",
             "dsServiceName", "dnsHostName", "currentTime", "highestCommittedUSN", "supportedControl"});
    ASSERT_TRUE(root);
    const auto& contexts = root->all("namingContexts");
    const auto names = [&](std::string_view context) {
        return std::any_of(contexts.begin(), contexts.end(),
                           [&](const auto& has) { return sameDn(has, context); });
    };
    EXPECT_TRUE(names(suffix()));
    EXPECT_TRUE(sameDn(root->first("defaultNamingContext"), suffix()));
    EXPECT_TRUE(names(root->first("configurationNamingContext")));
    EXPECT_EQ(parentDn(root->first("schemaNamingContext")),
              std::string(root->first("configurationNamingContext")));
    EXPECT_TRUE(root->first("dsServiceName").starts_with("CN=NTDS Settings,"));
    EXPECT_FALSE(root->first("dnsHostName").empty());
    EXPECT_EQ(root->first("currentTime").size(), 17U);
    EXPECT_FALSE(root->first("highestCommittedUSN").empty());
    for (const char* oid : {controls::pagedResults, controls::showDeleted, controls::treeDelete})
        EXPECT_NE(std::ranges::find(root->all("supportedControl"), oid), root->all("supportedControl").end())
            << oid;
    const auto asked = session_->search({"", LdapScope::base, "(configurationNamingContext=*)", {}, {}, 0});
    ASSERT_TRUE(asked);
    EXPECT_EQ(asked->entries.size(), 1U);
}

TEST_P(SearchContract, SchemaTellsWhichAttributesAreNames) {
    const auto root = read("", {"schemaNamingContext"});
    ASSERT_TRUE(root);
    const LdapSearch search{
        std::string(root->first("schemaNamingContext")),
        LdapScope::subtree,
        "(&(attributeSyntax=2.5.5.1)(|(cn=member)(cn=zre-MemberDNOf)(cn=zre-DisplayName)))",
        {"cn", "linkID"},
        {},
        0};
    const auto result = session_->search(search);
    ASSERT_TRUE(result);
    std::vector<std::string> names;
    for (const auto& entry : result->entries)
        names.push_back(std::string(entry.first("cn")) + ":" + std::string(entry.first("linkID")));
    std::sort(names.begin(), names.end(), [](const auto& a, const auto& b) { return a.size() < b.size(); });
    ASSERT_EQ(names.size(), 2U);
    EXPECT_TRUE(names[0] == "Member:2" || names[0] == "member:2") << names[0];
    EXPECT_EQ(names[1], "zre-MemberDNOf:");
}

TEST_P(SearchContract, Filters) {
    makeUnit("OU=a");
    make("CN=one,OU=a", {{"zre-NameValuePair", {"a=1", "color=blue"}}, {"zre-QuorinEnabled", {"3"}}});
    make("CN=two", {{"zre-NameValuePair", {"A=2"}},
                    {"zre-QuorinEnabled", {"-1"}},
                    {"zre-ClusterName",
                     {"Gr\xc3\xbc\xc3\x9f"
                      "e (*)"}}});
    make("CN=three", {{"zre-ConnectionServerDN", {at("CN=one,OU=a")}}, {"zre-DNSDomainName", {"b\\c"}}},
         "zre-HDQProperties");
    for (const Json& row : rows("filter")) EXPECT_EQ(found(row["filter"]), row["finds"]) << row;
}

TEST_P(SearchContract, ScopesAndBases) {
    makeUnit("OU=a");
    make("CN=one,OU=a");
    make("CN=two,OU=a");
    const std::string a = at("OU=a");
    EXPECT_EQ(found("(objectClass=*)", LdapScope::base, a), "a");
    EXPECT_EQ(found("(objectClass=*)", LdapScope::oneLevel, a), "one two");
    EXPECT_EQ(found("(objectClass=*)", LdapScope::subtree, a), "a one two");
    EXPECT_EQ(found("(cn=one)", LdapScope::oneLevel), "");
    EXPECT_EQ(found("(cn=one)", LdapScope::base, a), "");
    EXPECT_EQ(found("(cn=*)", LdapScope::subtree, "ou=A , " + place()), "one two");
    EXPECT_EQ(found("(cn=*)", LdapScope::subtree, at("OU=b")), "!32");
    EXPECT_EQ(found("(cn=*)", LdapScope::subtree, "no name"), "!34");
    EXPECT_EQ(found("(cn=*)", LdapScope::subtree, "CN=x,DC=elsewhere"), "!32");
}

TEST_P(SearchContract, NamesByGuidAndSid) {
    const auto sid = freshSid();
    make("CN=one", {{"objectSid", {binarySid(sid)}}}, "zre-DesktopApplication");
    const auto one = read(at("CN=one"), {"objectGUID", "objectSid"});
    ASSERT_TRUE(one);
    EXPECT_EQ(one->first("objectSid"), binarySid(sid));
    ASSERT_EQ(one->first("objectGUID").size(), 16U);
    const auto guid = "<GUID=" + lab::guidToText(one->first("objectGUID")) + ">";
    EXPECT_EQ(found("(objectClass=*)", LdapScope::base, guid), "one");
    EXPECT_EQ(found("(objectClass=*)", LdapScope::base, "<SID=" + sid + ">"), "one");
    EXPECT_EQ(found("(objectClass=*)", LdapScope::base, "<SID=S-1-5-21-9-9-9-9>"), "!32");
    EXPECT_EQ(found("(objectSid=" + sid + ")"), "one");
    EXPECT_EQ(found("(objectSid=" + escapedBytes(binarySid(sid)) + ")"), "one");
    EXPECT_EQ(found("(|(objectSid=" + escapedBytes(binarySid(freshSid())) + "))"), "");
}

TEST_P(SearchContract, MembersWhoseEntryIsMissing) {
    const auto known = freshSid();
    make("CN=desk", {{"member", {"<SID=" + known + ">"}}, {"objectSid", {binarySid(freshSid())}}},
         "zre-DesktopApplication");
    const auto member = [&](const std::string& sid) { return "(member=" + principalDn(sid) + ")"; };
    EXPECT_EQ(found(member(known)), "desk");
    EXPECT_EQ(found(member(freshSid())), "");
    EXPECT_EQ(found("(&(objectClass=zre-DesktopApplication)(|" + member(freshSid()) + member(known) + "))"),
              "desk");
}

TEST_P(SearchContract, AttributesThatTheDirectoryMakes) {
    make("CN=one", {{"zre-ClusterName", {"x"}}});
    const auto whole = read(at("cn=ONE"));
    ASSERT_TRUE(whole);
    EXPECT_EQ(whole->dn, at("CN=one"));
    EXPECT_EQ(whole->first("distinguishedName"), at("CN=one"));
    EXPECT_EQ(whole->first("name"), "one");
    EXPECT_EQ(whole->first("cn"), "one");
    EXPECT_EQ(whole->first("zre-clustername"), "x");
    EXPECT_EQ(whole->first("objectGUID").size(), 16U);
    for (const char* time : {"whenCreated", "whenChanged"}) {
        EXPECT_EQ(whole->first(time).size(), 17U) << time;
        EXPECT_TRUE(whole->first(time).ends_with(".0Z")) << time;
    }
    const auto classes = whole->all("objectClass");
    EXPECT_EQ(classes, (std::vector<std::string>{"top", "zre-PropertyObject"}));

    const auto some = read(at("CN=one"), {"CN", "zre-clusterNAME", "zre-GUID", "no-such-attribute"});
    ASSERT_TRUE(some);
    ASSERT_EQ(some->attributes.size(), 2U);
    EXPECT_TRUE(some->find("cn") && some->find("zre-ClusterName"));
    const auto none = read(at("CN=one"), {"1.1"});
    ASSERT_TRUE(none);
    EXPECT_TRUE(none->attributes.empty());
}

TEST_P(SearchContract, NamesWithSpecialCharacters) {
    const std::vector<std::string> names = {
        "a,b",     "a+b=c",  "a\"q\"",     "back\\slash", "#hash",
        " lead",   "trail ", "semi;colon", "<angle>",     "\xc3\xa4\xc3\xb6\xc3\xbc",
        "(star*)", "a/b"};
    for (const auto& name : names) {
        make("CN=" + escapeDnValue(name));
        const auto entry = read(at("CN=" + escapeDnValue(name)), {"name"});
        ASSERT_TRUE(entry) << name << codeOf(entry);
        EXPECT_EQ(rdnValue(entry->dn), name) << entry->dn;
        EXPECT_EQ(entry->first("name"), name);
        EXPECT_EQ(found("(cn=" + escapeFilterValue(name) + ")"), name);
    }
}

TEST_P(SearchContract, Pages) {
    for (int i = 10; i < 33; ++i) make("CN=e" + std::to_string(i));
    LdapSearch search{place(), LdapScope::subtree, "(cn=e*)", {"cn"}, {}, 0};
    std::vector<std::size_t> sizes;
    std::vector<std::string> names;
    std::string cookie;
    do {
        search.controls = {{controls::pagedResults, encodePageControl({10, cookie}), true}};
        const auto page = session_->search(search);
        ASSERT_TRUE(page) << codeOf(page);
        ASSERT_EQ(page->controls.size(), 1U);
        EXPECT_EQ(page->controls[0].oid, controls::pagedResults);
        const auto control = decodePageControl(page->controls[0].value);
        ASSERT_TRUE(control);
        cookie = control->cookie;
        sizes.push_back(page->entries.size());
        for (const auto& entry : page->entries) names.push_back(rdnValue(entry.dn));
    } while (!cookie.empty());
    EXPECT_EQ(sizes, (std::vector<std::size_t>{10, 10, 3}));
    std::sort(names.begin(), names.end());
    EXPECT_EQ(std::unique(names.begin(), names.end()), names.end());
    EXPECT_EQ(names.size(), 23U);
}

TEST_P(SearchContract, CookiesOfNobody) {
    make("CN=one");
    make("CN=two");
    LdapSearch search{place(), LdapScope::subtree, "(cn=*)", {"cn"}, {}, 0};
    search.controls = {{controls::pagedResults, encodePageControl({1, "invented"}), true}};
    EXPECT_EQ(codeOf(session_->search(search)), ldapUnwillingToPerform);
    // Samba never answers a control that it cannot read: nothing to wait for there.
    if (!isLab()) return;
    search.controls[0].value = "rubbish";
    EXPECT_NE(codeOf(session_->search(search)), ldapSuccess);
}

TEST_P(SearchContract, SizeLimit) {
    make("CN=one");
    make("CN=two");
    LdapSearch search{place(), LdapScope::subtree, "(cn=*)", {"cn"}, {}, 1};
    // Samba knows no limit.
    EXPECT_EQ(codeOf(session_->search(search)), expected(ldapSizeLimitExceeded, ldapSuccess));
    search.sizeLimit = 2;
    EXPECT_EQ(codeOf(session_->search(search)), ldapSuccess);
}

TEST_P(SearchContract, SeveralSearchesOnTheirWay) {
    make("CN=one");
    make("CN=two");
    auto first = session_->startSearch({place(), LdapScope::subtree, "(cn=one)", {"cn"}, {}, 0});
    auto second = session_->startSearch({place(), LdapScope::subtree, "(cn=two)", {"cn"}, {}, 0});
    auto dropped = session_->startSearch({place(), LdapScope::subtree, "(cn=*)", {"cn"}, {}, 0});
    auto failing = session_->startSearch({at("CN=nope"), LdapScope::base, "(cn=*)", {"cn"}, {}, 0});
    ASSERT_TRUE(first && second && dropped && failing);
    dropped->reset();
    const auto two = (*second)->wait();
    const auto one = (*first)->wait();
    ASSERT_TRUE(one && two);
    EXPECT_EQ(one->entries.at(0).first("cn"), "one");
    EXPECT_EQ(two->entries.at(0).first("cn"), "two");
    EXPECT_EQ(codeOf((*failing)->wait()), ldapNoSuchObject);
}

TEST_P(SearchContract, RangesOfValues) {
    std::vector<std::string> members;
    for (int i = 0; i < 5; ++i) members.push_back("<SID=" + freshSid() + ">");
    make("CN=desk", {{"member", members}, {"objectSid", {binarySid(freshSid())}}}, "zre-DesktopApplication");
    const struct {
        const char *asked, *answered;
        std::size_t values;
    } table[] = {{"member;range=0-1", "member;range=0-1", 2},
                 {"member;range=2-*", "member;range=2-*", 3},
                 {"member;range=3-9", "member;range=3-*", 2},
                 {"member", "member", 5}};
    for (const auto& row : table) {
        const auto entry = read(at("CN=desk"), {row.asked});
        ASSERT_TRUE(entry) << row.asked;
        ASSERT_EQ(entry->attributes.size(), 1U) << row.asked;
        EXPECT_EQ(entry->attributes[0].name, row.answered);
        EXPECT_EQ(entry->attributes[0].values.size(), row.values);
    }
    const auto past = read(at("CN=desk"), {"member;range=5-9"});  // Samba shows no values instead
    EXPECT_EQ(codeOf(past), expected(ldapOperationsError, ldapSuccess));
}

TEST_P(SearchContract, NothingWithoutABind) {
    const auto unbound = directory_->open();
    const LdapSearch search{place(), LdapScope::subtree, "(objectClass=*)", {}, {}, 0};
    EXPECT_EQ(codeOf(unbound->search(search)), ldapOperationsError);
    EXPECT_EQ(codeOf(unbound->search({"", LdapScope::base, "(objectClass=*)", {}, {}, 0})), ldapSuccess);
}

INSTANTIATE_TEST_SUITE_P(Directory, SearchContract, testing::Values("lab", "server"),
                         [](const auto& one) { return one.param; });

}  // namespace
}  // namespace wsadmin::platform
