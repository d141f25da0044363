// What a directory answers only when it is broken or hides its entries; the rest are cases.
#include <gtest/gtest.h>

#include "maintenance/common.h"
#include "maintenance/cserver.h"
#include "support/scripted_ldap.h"
#include "support/test_service.h"

using namespace wstest;

namespace {

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
