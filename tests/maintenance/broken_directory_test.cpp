// What a directory does only when it is broken or hostile, or hides its entries; the rest are cases.
#include "maintenance/collisions.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "maintenance/common.h"
#include "maintenance/cserver.h"
#include "support/counting_ldap.h"
#include "support/log_capture.h"
#include "support/scripted_ldap.h"
#include "support/test_service.h"

using namespace wstest;

namespace {

// The log of a request that resolves, from the root entry on; before it a conflict entry was found.
std::wstring resolve(
    std::vector<ScriptedAnswer> answers,
    std::function<void(ScriptedSession&)> prepare = [](ScriptedSession&) {}) {
    const auto client = std::make_shared<ScriptedClient>();
    client->session->answers = {pageAnswer({entry("CN=a\\0ACNF:1,DC=x")}, ""), pageAnswer({}, "")};
    for (ScriptedAnswer& answer : answers) client->session->answers.push_back(std::move(answer));
    prepare(*client->session);
    const auto platform = std::make_shared<Platform>();
    const auto calls = std::make_shared<PortCalls>();
    platform->ldap = std::make_shared<CountingLdapClient>(client, calls);
    TestService service(platform);
    CORE::PropertyBag request;
    request.setBool(L"resolveCollisions", true);
    const LogCapture log;
    const auto answer = ask<&Collisions::showAndResolveLDAPCollisions>(service, request);
    EXPECT_TRUE(answer.empty() && answer.getError() == 0);
    EXPECT_EQ(decodePageControl(calls->searches().at(0).controls.at(0).value)->size, 1000);
    std::wstring text;
    for (const LogLine& line : log.lines()) text += line.text + L"\n";
    return text;
}

const ScriptedAnswer root{.entries = {entry("", {{"schemaNamingContext", {"CN=Schema"}}})}};
const ScriptedAnswer schema{
    .entries = {entry("CN=Member,CN=Schema", {{"cn", {"Member"}}, {"linkID", {"2"}}}),
                entry("CN=Is-Member,CN=Schema", {{"cn", {"back"}}, {"linkID", {"3"}}})}};

TEST(Collisions, WithoutTheNameOfTheSchemaNothingIsDone) {
    for (const ScriptedAnswer& answer : {ScriptedAnswer{}, ScriptedAnswer{.entries = {entry("")}}}) {
        const std::wstring log = resolve({answer});
        EXPECT_NE(log.find(L"Unable to obtain schemaNamingConext value"), log.npos);
        EXPECT_EQ(log.find(L"removed."), log.npos);
    }
}

TEST(Collisions, AnAttributeThatHasNoValueLeftIsDone) {
    const std::wstring log = resolve(
        {root,
         schema,
         pageAnswer(
             {entry("CN=group,DC=x", {{"member;range=0-0", {"CN=x\\0ADEL:1,CN=Deleted Objects,DC=x"}}})}, ""),
         {.entries = {entry("CN=group,DC=x")}},
         pageAnswer({}, "")});
    EXPECT_EQ(log.find(L"Failed to read"), log.npos);
    EXPECT_NE(log.find(L"1 collision entry removed."), log.npos);
}

// Each range brings another reference that can be removed, so that the reading would start over for ever.
TEST(Collisions, ADirectoryThatInventsReferencesIsGivenUp) {
    std::vector<ScriptedAnswer> answers = {root, schema};
    for (int i = 0; i < 100; ++i) {
        const std::string gone = "CN=x" + std::to_string(i) + "\\0ADEL:1,CN=Deleted Objects,DC=x";
        answers.push_back(pageAnswer({entry("CN=group,DC=x", {{"member;range=0-0", {gone}}})}, ""));
    }
    std::size_t modified = 0;
    const std::wstring log = resolve(std::move(answers), [&modified](ScriptedSession& session) {
        session.most.entries = 10;
        session.onModify = [&modified](const ModifyCall& call) {
            EXPECT_EQ(call.attribute, "member");
            ++modified;
            return 0;
        };
    });
    EXPECT_EQ(modified, 10U);
    EXPECT_NE(log.find(L"Failed to read member of CN=group,DC=x - The directory's answer has more than 10"),
              log.npos);
}

TEST(Cluster, AnEntryThatIsNotShownOrHasNoNameIsNotChanged) {
    const ScriptedAnswer none{}, nameless{.entries = {entry("")}};
    const std::wstring common = L"cn=common,ou=global,ou=properties,dc=vdi,dc=talvex,dc=int",
                       vcs1 = L"cn=VCS1,ou=Server,ou=Properties,dc=vdi,dc=talvex,dc=int";
    const auto setName = ask<&Common::setClusterName>, remove = ask<&CServer::deleteConnectionServerEntry>;
    for (const auto& [handler, answer, sentence] :
         {std::tuple{setName, none, L"Entry for \"" + common + L"\" not found."},
          {setName, nameless, L"Failed to get DN for entry \"" + common},
          {remove, none, L"Entry for \"" + vcs1 + L"\" not found."},
          {remove, nameless, L"Failed to get DN for entry \"" + vcs1}}) {
        const auto client = std::make_shared<ScriptedClient>();
        client->session->answers = {answer};
        client->session->onModify = [](const ModifyCall& call) {
            ADD_FAILURE() << call.attribute;
            return 0;
        };
        const auto platform = std::make_shared<Platform>();
        platform->ldap = client;
        TestService service(platform);
        CORE::PropertyBag request;
        request.set(L"clustername", L"x");
        request.set(L"servername", L"VCS1");
        const auto result = handler(service, request);
        EXPECT_EQ(result.getError(), 1);
        EXPECT_EQ(result.getErrorText(), sentence);
        EXPECT_TRUE(result.empty());
    }
}

}  // namespace
