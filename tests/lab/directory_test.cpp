// What a lab's directories do beyond the contract that they share with real servers, over directory.jsonl;
// what else a fault does is shown by the cases that have one.
#include "lab/directory_fixture.h"
#include "lab/ldap_rows.h"
#include "platform/lab/lab_platform.h"
#include "support/temp_folder.h"

namespace wsadmin::platform::lab {
namespace {

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
    EXPECT_EQ(codeOf(session->search({.base = "DC=t", .filter = "(objectClass=*)"})), ldapUserCancelled);
    EXPECT_EQ(test.clock->now(), before);
    EXPECT_TRUE(test.server->directory().takeChangedFiles().empty());
}

}  // namespace
}  // namespace wsadmin::platform::lab
