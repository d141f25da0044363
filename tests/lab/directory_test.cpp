// What the lab's directory does beyond the contract that it shares with real servers.
#include "lab/directory_fixture.h"

namespace wsadmin::platform::lab {
namespace {

using Names = std::vector<std::string>;

std::string manyEntries(int count) {
    std::string text = testContent;
    for (int i = 1; i <= count; ++i)
        text += "\ndn: CN=e" + std::to_string(i) + ",OU=a,DC=t\nobjectClass: zre-VM\nzre-VmState: READY\n";
    return text;
}

LdapControl page(int size, const std::string& cookie = {}) {
    return {controls::pagedResults, encodePageControl({size, cookie}), true};
}

std::string cookieOf(const Result<LdapSearchResult>& result) {
    return decodePageControl(result.value().controls.at(0).value).value().cookie;
}

TEST(LabDirectory, ChangeRecordsApplyToTheContentBefore) {
    TestDirectory test(
        std::string(testContent) +
        "\ndn: CN=one,OU=a,DC=t\nchangetype: modify\nadd: zre-NameValuePair\nzre-NameValuePair: b=2\n-\n"
        "\ndn: OU=a,DC=t\nchangetype: modrdn\nnewrdn: OU=b\ndeleteoldrdn: 1\n"
        "\ndn: CN=two,OU=b,DC=t\nchangetype: add\nobjectClass: container\n"
        "\ndn: CN=two,OU=b,DC=t\nchangetype: delete\n");
    ASSERT_TRUE(test.loaded) << failureText(test.loaded.error());
    const auto session = test.bound();
    EXPECT_EQ(namesOf(searchBelow(*session, testSuffix, "(zre-NameValuePair=b=2)")), Names{"one"});
    EXPECT_EQ(readEntry(*session, "CN=one,OU=b,DC=t")->entries.at(0).dn, "CN=one,OU=b,DC=t");
    EXPECT_EQ(namesOf(searchBelow(*session, testSuffix, "(cn=two)")), Names{});
}

TEST(LabDirectory, ChainsOfMembers) {
    TestDirectory test(
        "dn: CN=leaf,DC=t\nobjectClass: user\n\n"
        "dn: CN=inner,DC=t\nobjectClass: group\nmember: CN=leaf,DC=t\nmember: CN=outer,DC=t\n\n"  // a circle,
                                                                                                  // too
        "dn: CN=outer,DC=t\nobjectClass: group\nmember: cn=Inner, dc=T\n\n"
        "dn: CN=other,DC=t\nobjectClass: group\nmember: CN=gone,DC=t\n");
    const auto session = test.bound();
    const auto found = [&](const std::string& filter) {
        return namesOf(searchBelow(*session, testSuffix, filter));
    };
    EXPECT_EQ(found("(member=CN=leaf,DC=t)"), Names{"inner"});
    EXPECT_EQ(found("(member:1.2.840.113556.1.4.1941:=CN=leaf,DC=t)"), (Names{"inner", "outer"}));
    EXPECT_EQ(found("(memberOf:1.2.840.113556.1.4.1941:=CN=outer,DC=t)"), (Names{"leaf", "inner", "outer"}));
    EXPECT_EQ(found("(memberOf=CN=inner,DC=t)"), (Names{"leaf", "outer"}));
    EXPECT_EQ(found("(member=CN=GONE, DC=t)"), Names{"other"});  // a file may refer to what is not there
    EXPECT_EQ(readEntry(*session, "CN=leaf,DC=t")->entries.at(0).all("memberOf"), Names{"CN=inner,DC=t"});
}

TEST(LabDirectory, IndexesFollowEveryChange) {
    TestDirectory test(manyEntries(3));
    const auto session = test.bound();
    const auto found = [&](const std::string& filter) {
        return namesOf(searchBelow(*session, testSuffix, filter));
    };
    const auto change = [&](const std::string& dn, LdapModification modification) {
        EXPECT_EQ(codeOf(session->modify(dn, {std::move(modification)})), ldapSuccess);
    };
    const std::string e1 = "CN=e1,OU=a,DC=t", e2 = "CN=e2,OU=a,DC=t";
    EXPECT_EQ(found("(zre-VmState=ready)"), (Names{"e1", "e2", "e3"}));  // from here on kept
    EXPECT_EQ(found("(zre-MemberDNOf=" + e2 + ")"), Names{});
    EXPECT_EQ(found("(cn=e1)"), Names{"e1"});
    change(e1, {LdapModify::replace, "zre-VmState", {"ERROR"}});
    change(e1, {LdapModify::add, "zre-MemberDNOf", {e2}});
    EXPECT_EQ(found("(zre-VmState=ready)"), (Names{"e2", "e3"}));
    EXPECT_EQ(found("(zre-VmState=error)"), Names{"e1"});
    EXPECT_EQ(found("(zre-MemberDNOf=" + e2 + ")"), Names{"e1"});
    EXPECT_EQ(codeOf(session->rename(e2, "CN=new", "", true)), ldapSuccess);
    EXPECT_EQ(found("(|(cn=e2)(cn=new))"), Names{"new"});
    EXPECT_EQ(found("(zre-MemberDNOf=CN=new,OU=a,DC=t)"), Names{"e1"});
    EXPECT_EQ(codeOf(session->remove("CN=e3,OU=a,DC=t")), ldapSuccess);
    EXPECT_EQ(
        codeOf(session->add({"CN=e4,OU=a,DC=t", {{"objectClass", {"zre-VM"}}, {"zre-VmState", {"READY"}}}})),
        ldapSuccess);
    EXPECT_EQ(found("(zre-VmState=ready)"), (Names{"new", "e4"}));
    change(e1, {LdapModify::add, "objectClass", {"zre-NameValuePairs"}});
    EXPECT_EQ(found("(objectClass=zre-namevaluepairs)"), Names{"e1"});
    // What a failed change did is not found either.
    EXPECT_EQ(codeOf(session->modify(e1, {{LdapModify::replace, "zre-VmState", {"LOST"}},
                                          {LdapModify::remove, "zre-GUID", {}}})),
              ldapNoSuchAttribute);
    EXPECT_EQ(found("(zre-VmState=lost)"), Names{});
}

TEST(LabDirectory, FailedChangesLeaveNoForeignPrincipal) {
    TestDirectory test(std::string(testContent) + "\ndn: CN=g,DC=t\nobjectClass: group\n");
    const auto session = test.bound();
    const std::string sid = "<SID=S-1-5-21-1-2-3-4>";
    EXPECT_EQ(codeOf(session->modify(
                  "CN=g,DC=t", {{LdapModify::add, "member", {sid}}, {LdapModify::remove, "zre-GUID", {}}})),
              ldapNoSuchAttribute);
    EXPECT_EQ(codeOf(readEntry(*session, sid)), ldapNoSuchObject);
    EXPECT_EQ(codeOf(session->modify("CN=g,DC=t", {{LdapModify::add, "member", {sid}}})), ldapSuccess);
    EXPECT_EQ(readEntry(*session, sid)->entries.at(0).dn,
              "CN=S-1-5-21-1-2-3-4,CN=ForeignSecurityPrincipals,DC=t");
    // An entry that has the SID is the principal; none is made for it.
    EXPECT_EQ(
        codeOf(session->modify("CN=one,OU=a,DC=t",
                               {{LdapModify::add, "objectSid", {Sid::parse("S-1-5-99").value().bytes()}}})),
        ldapSuccess);
    EXPECT_EQ(codeOf(session->modify("CN=g,DC=t", {{LdapModify::add, "member", {"<SID=S-1-5-99>"}}})),
              ldapSuccess);
    EXPECT_EQ(readEntry(*session, "CN=g,DC=t")->entries.at(0).all("member").back(), "CN=one,OU=a,DC=t");
}

TEST(LabDirectory, TombstonesKeepWhatTheyWere) {
    TestDirectory test;
    const auto session = test.bound();
    const std::string one = "CN=one,OU=a,DC=t";
    const auto deleted = [&] {
        const LdapControl control{controls::showDeleted, {}, true};
        return searchBelow(*session, "CN=Deleted Objects,DC=t", "(name=one*)", {}, {control}).value().entries;
    };
    const auto guid = std::string(readEntry(*session, one)->entries.at(0).first("objectGUID"));
    EXPECT_EQ(codeOf(session->remove(one)), ldapSuccess);
    EXPECT_EQ(deleted().at(0).dn, "CN=one\\0ADEL:" + guidToText(guid) + ",CN=Deleted Objects,DC=t");
    EXPECT_EQ(deleted().at(0).first("lastKnownParent"), "OU=a,DC=t");
    EXPECT_EQ(deleted().at(0).find("zre-NameValuePair"), nullptr);
    // The same name again is another entry.
    EXPECT_EQ(codeOf(session->add({one, {{"objectClass", {"container"}}}})), ldapSuccess);
    EXPECT_EQ(codeOf(session->remove(one)), ldapSuccess);
    EXPECT_EQ(deleted().size(), 2U);
    EXPECT_EQ(codeOf(session->remove("CN=Deleted Objects,DC=t")), ldapNoSuchObject);
}

TEST(LabDirectory, PagesAndTheirCookies) {
    TestDirectory test(manyEntries(25));
    const auto session = test.bound(), other = test.bound();
    const auto ask = [&](LdapSession& from, const LdapControl& control,
                         const std::string& filter = "(objectClass=zre-VM)") {
        return searchBelow(from, testSuffix, filter, {"cn"}, {control});
    };
    const auto first = ask(*session, page(10));
    EXPECT_EQ(decodePageControl(first->controls.at(0).value)->size, 25);  // the estimate
    const auto cookie = cookieOf(first);
    EXPECT_EQ(codeOf(ask(*other, page(10, cookie))), ldapUnwillingToPerform);
    EXPECT_EQ(codeOf(ask(*session, page(10, cookie), "(cn=e1*)")), ldapUnwillingToPerform);

    // Two searches of one session do not disturb each other, and entries that changed meanwhile are told as
    // they are.
    const auto interleaved = ask(*session, page(20), "(cn=e*)");
    EXPECT_EQ(codeOf(session->remove("CN=e12,OU=a,DC=t")), ldapSuccess);
    EXPECT_EQ(codeOf(session->rename("CN=e13,OU=a,DC=t", "CN=renamed", "", true)), ldapSuccess);
    const auto second = ask(*session, page(10, cookie));
    EXPECT_EQ(namesOf(second),
              (Names{"e11", "renamed", "e14", "e15", "e16", "e17", "e18", "e19", "e20", "e21"}));
    EXPECT_EQ(codeOf(ask(*session, page(10, cookie))), ldapUnwillingToPerform);  // each cookie is good once
    EXPECT_EQ(namesOf(ask(*session, page(20, cookieOf(interleaved)), "(cn=e*)")),
              (Names{"e21", "e22", "e23", "e24", "e25"}));

    // Size 0 ends the search.
    const auto given = ask(*session, page(0, cookieOf(second)));
    EXPECT_EQ(namesOf(given), Names{});
    EXPECT_EQ(cookieOf(given), "");
    EXPECT_EQ(codeOf(ask(*session, page(5, cookieOf(second)))), ldapUnwillingToPerform);
    EXPECT_EQ(codeOf(ask(*session, {controls::pagedResults, std::string("\x30\5\2\1\xff\4\0", 7), true})),
              ldapProtocolError);
}

TEST(LabDirectory, LimitsOfOneAnswer) {
    DirectorySettings settings;
    settings.pageSize = 10;
    settings.rangeSize = 4;
    std::string content = manyEntries(12) + "\ndn: CN=g,DC=t\nobjectClass: group\n";
    for (int i = 1; i <= 9; ++i) content += "member: CN=e" + std::to_string(i) + ",OU=a,DC=t\n";
    TestDirectory test(content, settings);
    const auto session = test.bound();
    EXPECT_EQ(codeOf(searchBelow(*session, testSuffix, "(cn=e*)")), ldapSizeLimitExceeded);
    EXPECT_EQ(searchBelow(*session, testSuffix, "(cn=e*)", {}, {page(50)})->entries.size(), 10U);

    const struct {
        const char *asked, *answered;
        std::size_t values;
        const char* firstValue;
    } table[] = {
        {"member", "member;range=0-3", 4, "CN=e1,OU=a,DC=t"},
        {"*", "member;range=0-3", 4, "CN=e1,OU=a,DC=t"},
        {"MEMBER;Range=4-*", "member;range=4-7", 4, "CN=e5,OU=a,DC=t"},
        {"member;range=8-*", "member;range=8-*", 1, "CN=e9,OU=a,DC=t"},
        {"member;range=7-100", "member;range=7-*", 2, "CN=e8,OU=a,DC=t"},
    };
    for (const auto& row : table) {
        const auto group = readEntry(*session, "CN=g,DC=t", {row.asked});
        ASSERT_EQ(codeOf(group), ldapSuccess) << row.asked;
        const auto* members = group->entries.at(0).find(row.answered);
        ASSERT_TRUE(members) << row.asked;
        EXPECT_EQ(members->values.size(), row.values);
        EXPECT_EQ(members->values.front(), row.firstValue);
    }
    EXPECT_EQ(codeOf(readEntry(*session, "CN=g,DC=t", {"member;range=9-*"})), ldapOperationsError);
    EXPECT_TRUE(readEntry(*session, "CN=g,DC=t", {"member;range=x", "member;range=3-1"})
                    ->entries.at(0)
                    .attributes.empty());
}

TEST(LabDirectory, ControlsThatNobodyKnows) {
    TestDirectory test;
    const auto session = test.bound();
    const LdapControl unknown{"1.2.3.4", {}, true}, ignored{"1.2.3.4", {}, false},
        tree{controls::treeDelete, {}, true};
    EXPECT_EQ(codeOf(searchBelow(*session, testSuffix, "(cn=*)", {}, {unknown})),
              ldapUnavailableCriticalExtension);
    EXPECT_EQ(codeOf(searchBelow(*session, testSuffix, "(cn=*)", {}, {tree})),
              ldapUnavailableCriticalExtension);
    EXPECT_EQ(codeOf(searchBelow(*session, testSuffix, "(cn=*)", {}, {ignored})), ldapSuccess);
    EXPECT_EQ(codeOf(session->remove("OU=a,DC=t", {unknown, tree})), ldapUnavailableCriticalExtension);
    EXPECT_EQ(codeOf(session->modify("OU=a,DC=t", {{LdapModify::add, "description", {"x"}}}, {unknown})),
              ldapUnavailableCriticalExtension);
    EXPECT_EQ(codeOf(session->remove("OU=a,DC=t", {ignored, tree})), ldapSuccess);
}

TEST(LabDirectory, NamingContexts) {
    DirectorySettings settings;
    settings.suffixes = {"DC=corp,DC=example", "DC=sub,DC=corp,DC=example"};
    settings.activeDirectory = true;
    TestDirectory test(
        "dn: CN=up,DC=corp,DC=example\nobjectClass: user\n\ndn: "
        "CN=down,DC=sub,DC=corp,DC=example\nobjectClass: user\n",
        settings);
    ASSERT_TRUE(test.loaded) << failureText(test.loaded.error());
    const auto session = test.bound(), catalogue = test.bound(3268);
    EXPECT_EQ(namesOf(searchBelow(*session, "DC=corp,DC=example", "(objectClass=user)")), Names{"up"});
    EXPECT_EQ(namesOf(searchBelow(*session, "DC=sub,DC=corp,DC=example", "(objectClass=user)")),
              Names{"down"});
    EXPECT_EQ(codeOf(searchBelow(*session, "", "(objectClass=user)")), ldapNoSuchObject);
    EXPECT_EQ(namesOf(searchBelow(*catalogue, "", "(objectClass=user)")), (Names{"up", "down"}));
    EXPECT_EQ(readEntry(*session, "")->entries.at(0).first("schemaNamingContext"),
              "CN=Schema,CN=Configuration,DC=corp,DC=example");
    // One naming context is not deleted with the tree of the other.
    EXPECT_EQ(codeOf(session->remove("DC=corp,DC=example", {{controls::treeDelete, {}, true}})),
              ldapUnwillingToPerform);
}

TEST(LabDirectory, TheSameNamesGiveTheSameGuids) {
    const std::string dn = "CN=one,OU=a,DC=t";
    TestDirectory first, second;
    const auto guid = [&](TestDirectory& test) {
        return guidToText(readEntry(*test.bound(), dn)->entries.at(0).first("objectGUID"));
    };
    EXPECT_EQ(guid(first), guid(second));
    EXPECT_EQ(readEntry(*first.bound(), dn)->entries.at(0).first("whenCreated"), "20240101000000.0Z");
}

TEST(LabDirectory, PasswordsAreNeverShown) {
    TestDirectory test("dn: CN=u,DC=t\nobjectClass: user\nunicodePwd: secret\n");
    const auto session = test.bound();
    for (const char* asked : {"*", "unicodePwd"})
        EXPECT_EQ(readEntry(*session, "CN=u,DC=t", {asked})->entries.at(0).find("unicodePwd"), nullptr);
}

}  // namespace
}  // namespace wsadmin::platform::lab
