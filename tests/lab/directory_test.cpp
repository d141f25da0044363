// What a lab's directories do beyond the contract that they share with real servers, over directory.jsonl;
// what else a fault does is shown by the cases that have one.
#include "lab/directory_fixture.h"
#include "lab/ldap_rows.h"
#include "platform/lab/lab_platform.h"
#include "support/temp_folder.h"

namespace wsadmin::platform::lab {
namespace {

using Names = std::vector<std::string>;
using std::chrono::milliseconds;
using wstest::Json;

std::string manyEntries(int count) {
    std::string text;
    for (int i = 1; i <= count; ++i)
        text += "\ndn: CN=e" + std::to_string(i) + ",OU=a,DC=t\nobjectClass: zre-VM\nzre-VmState: READY\n";
    return text;
}

// The directory that a block stands on.
TestDirectory directoryOf(const Json& head) {
    DirectorySettings settings;
    settings.activeDirectory = head.contains("domain");
    settings.pageSize = head.value("pageSize", settings.pageSize);
    settings.rangeSize = head.value("rangeSize", settings.rangeSize);
    settings.suffixes = head.value("suffixes", settings.suffixes);
    std::vector<Account> accounts;
    for (const Json& one : head.value("accounts", Json::array()))
        accounts.push_back({one[0], one[1], one[2], CORE::secretstring(one[3].get<std::string>())});
    std::string content = head.value("alone", testContent + manyEntries(head.value("entries", 0)) + "\n" +
                                                  head.value("ldif", std::string()));
    if (head.contains("file"))
        content = wstest::fileText(WS_SOURCE_DIR "/tests/lab/" + head["file"].get<std::string>());
    return TestDirectory(content, settings, {}, accounts);
}

TEST(LabDirectory, AnswersAsTheRowsSay) {
    for (const auto& block : wstest::ldapBlocks(WS_SOURCE_DIR "/tests/lab/directory.jsonl")) {
        TestDirectory test = directoryOf(block.head);
        ASSERT_TRUE(test.loaded) << block.head << failureText(test.loaded.error());
        const auto lab = block.head.contains("lab")
                             ? openLab(WS_SOURCE_DIR "/labs/" + block.head["lab"].get<std::string>()).value()
                             : nullptr;
        const auto open = [&](const Json& by) {
            LdapEndpoint endpoint;
            endpoint.host = by.value("host", std::string());
            endpoint.port = by.value("port", endpoint.port);
            endpoint.tls = by.contains("tls");
            if (by.contains("startTls")) endpoint.startTls = StartTls::required;
            return lab ? lab->ldap->open(endpoint).value() : test.network.open(endpoint).value();
        };
        wstest::LdapRows(open, {}, testSuffix).tryAll(block);
    }
}

TEST(LabDirectory, PagesAndTheirCookies) {
    DirectorySettings settings;
    settings.pageSize = 20;
    TestDirectory test(testContent + manyEntries(25), settings);
    const auto session = test.bound(), other = test.bound();
    const auto ask = [&](LdapSession& from, int size, const std::string& cookie = {},
                         const std::string& filter = "(objectClass=zre-VM)") {
        return searchBelow(from, testSuffix, filter, {"cn"},
                           {{controls::pagedResults, encodePageControl({size, cookie}), true}});
    };
    const auto control = [](const Result<LdapSearchResult>& result) {
        return decodePageControl(result.value().controls.at(0).value).value();
    };
    const auto first = ask(*session, 10);
    EXPECT_EQ(control(first).size, 25);  // the estimate
    const auto cookie = control(first).cookie;
    EXPECT_EQ(codeOf(ask(*other, 10, cookie)), ldapUnwillingToPerform);
    EXPECT_EQ(codeOf(ask(*session, 10, cookie, "(cn=e1*)")), ldapUnwillingToPerform);
    EXPECT_EQ(ask(*session, 50)->entries.size(), 20U);

    // Two searches of one session do not disturb each other, and entries that changed meanwhile are told as
    // they are.
    const auto interleaved = ask(*session, 20, {}, "(cn=e*)");
    EXPECT_EQ(codeOf(session->remove("CN=e12,OU=a,DC=t")), ldapSuccess);
    EXPECT_EQ(codeOf(session->rename("CN=e13,OU=a,DC=t", "CN=renamed", "", true)), ldapSuccess);
    const auto second = ask(*session, 10, cookie);
    EXPECT_EQ(namesOf(second),
              (Names{"e11", "renamed", "e14", "e15", "e16", "e17", "e18", "e19", "e20", "e21"}));
    EXPECT_EQ(codeOf(ask(*session, 10, cookie)), ldapUnwillingToPerform);  // each cookie is good once
    EXPECT_EQ(namesOf(ask(*session, 20, control(interleaved).cookie, "(cn=e*)")),
              (Names{"e21", "e22", "e23", "e24", "e25"}));

    // Size 0 ends the search.
    const auto given = ask(*session, 0, control(second).cookie);
    EXPECT_EQ(namesOf(given), Names{});
    EXPECT_EQ(control(given).cookie, "");
    EXPECT_EQ(codeOf(ask(*session, 5, control(second).cookie)), ldapUnwillingToPerform);
    const LdapControl negative{controls::pagedResults, std::string("\x30\5\2\1\xff\4\0", 7), true};
    EXPECT_EQ(codeOf(searchBelow(*session, testSuffix, "(cn=e*)", {}, {negative})), ldapProtocolError);
}

TEST(LabServer, WhatASlowOneDelaysEndsWhenTheServiceStops) {
    Faults slow;
    slow.slow = milliseconds(4000);
    TestDirectory test(testContent, {}, slow);
    LdapEndpoint hasty;
    hasty.connectTimeout = milliseconds(1);
    const auto session = test.bound(), late = std::move(test.network.open(hasty).value());
    const auto before = test.clock->now();
    test.network.stop();
    for (const auto& ended :
         {session->bind({}), late->bind({}), session->modify("OU=a,DC=t", {{LdapModify::add, "url", {"x"}}})})
        EXPECT_EQ(failureText(ended.error()), "The service is stopping");
    EXPECT_EQ(codeOf(readEntry(*session, "DC=t")), ldapUserCancelled);
    EXPECT_EQ(test.clock->now(), before);
    EXPECT_TRUE(test.server->directory().takeChangedFiles().empty());
}

}  // namespace
}  // namespace wsadmin::platform::lab
