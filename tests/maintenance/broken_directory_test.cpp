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
std::vector<LogLine> resolve(
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
    return log.lines();
}

bool hasLine(const std::vector<LogLine>& lines, std::wstring_view text) {
    return std::ranges::any_of(lines,
                               [text](const LogLine& line) { return line.text.find(text) != text.npos; });
}

const ScriptedAnswer root{.entries = {entry("", {{"schemaNamingContext", {"CN=Schema"}}})}};
const ScriptedAnswer schema{
    .entries = {entry("CN=Member,CN=Schema", {{"cn", {"Member"}}, {"linkID", {"2"}}}),
                entry("CN=Is-Member,CN=Schema", {{"cn", {"back"}}, {"linkID", {"3"}}})}};

TEST(Collisions, WithoutTheNameOfTheSchemaNothingIsDone) {
    for (const ScriptedAnswer& answer : {ScriptedAnswer{}, ScriptedAnswer{.entries = {entry("")}}}) {
        const auto lines = resolve({answer});
        EXPECT_TRUE(hasLine(lines, L"Unable to obtain schemaNamingConext value"));
        EXPECT_FALSE(hasLine(lines, L"removed."));
    }
}

TEST(Collisions, AnAttributeThatHasNoValueLeftIsDone) {
    const auto lines = resolve(
        {root,
         schema,
         pageAnswer(
             {entry("CN=group,DC=x", {{"member;range=0-0", {"CN=x\\0ADEL:1,CN=Deleted Objects,DC=x"}}})}, ""),
         {.entries = {entry("CN=group,DC=x")}},
         pageAnswer({}, "")});
    EXPECT_FALSE(hasLine(lines, L"Failed to read"));
    EXPECT_TRUE(hasLine(lines, L"1 collision entry removed."));
}

// Each range brings another reference that can be removed, so that the reading would start over for ever.
TEST(Collisions, ADirectoryThatInventsReferencesIsGivenUp) {
    std::vector<ScriptedAnswer> answers = {root, schema};
    const auto range = [](int i) {
        return std::vector<LdapAttribute>{
            {"member;range=0-0", {"CN=x" + std::to_string(i) + "\\0ADEL:1,CN=Deleted Objects,DC=x"}}};
    };
    answers.push_back(pageAnswer({entry("CN=group,DC=x", range(0))}, ""));
    for (int i = 1; i < 100; ++i) answers.push_back({.entries = {entry("CN=group,DC=x", range(i))}});
    std::size_t modified = 0;
    const auto lines = resolve(std::move(answers), [&modified](ScriptedSession& session) {
        session.most.entries = 10;
        session.onModify = [&modified](const ModifyCall& call) {
            EXPECT_EQ(call.attribute, "member");
            ++modified;
            return 0;
        };
    });
    EXPECT_EQ(modified, 10U);
    EXPECT_TRUE(
        hasLine(lines, L"Failed to read member of CN=group,DC=x - The directory's answer has more than 10"));
}

using Question = CORE::PropertyBag (*)(ServiceContext&, const CORE::PropertyBag&);

TEST(Cluster, AnEntryThatIsNotShownOrHasNoNameIsNotChanged) {
    const ScriptedAnswer none{}, nameless{.entries = {entry("")}};
    const std::wstring common = L"cn=common,ou=global,ou=properties,dc=vdi,dc=talvex,dc=int",
                       vcs1 = L"cn=VCS1,ou=Server,ou=Properties,dc=vdi,dc=talvex,dc=int";
    const struct {
        Question handler;
        ScriptedAnswer answer;
        std::wstring sentence;
    } rows[] = {
        {ask<&Common::setClusterName>, none, L"Entry for \"" + common + L"\" not found."},
        {ask<&Common::setClusterName>, nameless, L"Failed to get DN for entry \"" + common},
        {ask<&CServer::deleteConnectionServerEntry>, none, L"Entry for \"" + vcs1 + L"\" not found."},
        {ask<&CServer::deleteConnectionServerEntry>, nameless, L"Failed to get DN for entry \"" + vcs1},
    };
    for (const auto& row : rows) {
        const auto client = std::make_shared<ScriptedClient>();
        client->session->answers = {row.answer};
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
        const auto result = row.handler(service, request);
        EXPECT_EQ(result.getError(), 1);
        EXPECT_EQ(result.getErrorText(), row.sentence);
        EXPECT_TRUE(result.empty());
    }
}

}  // namespace
