// Who may administer where the request says nobody: by the account that binds, by the token of the caller.
#include <gtest/gtest.h>

#include "identity/admin_permission.h"
#include "identity/pod_lab.h"
#include "support/scripted_accounts.h"

using namespace wstest;
using namespace wsadmin;
using platform::TokenStep;

namespace {

constexpr char roles[] = R"(
dn: CN=Masters,OU=Groups,DC=vdi,DC=talvex,DC=int
objectClass: zre-AdminRole
zre-AdminRolePermissions: Full=Allow
member: <SID=S-1-5-21-2000-2000-2000-1>
)";

const std::wstring ok, denied = L"Permission Denied", noToken = L"Failed to determine current process token";

void expectAnswer(const CORE::PropertyBag& answer, const std::wstring& sentence) {
    EXPECT_EQ(answer.getErrorText(), sentence);
    EXPECT_EQ(answer.getError(), sentence.empty() ? 0 : 1);
    EXPECT_EQ(answer.get(L"result"), sentence.empty() ? L"OK" : L"");
}

TEST(AdminPermission, WithoutSidsIsThatOfTheToken) {
    const ScriptedToken none{.openCode = platform::accountNoToken}, master{.user = sidOf(1)},
        inGroup{.user = sidOf(9), .groups = {sidOf(8), sidOf(1)}}, nobody{.user = sidOf(9)},
        system{.user = "S-1-5-18"};
    const auto failing = [](std::optional<TokenStep> user, std::optional<TokenStep> groups) {
        return ScriptedToken{.user = sidOf(1), .userFails = user, .groupsFail = groups};
    };
    const std::wstring noUser = L"Failed to determine token user",
                       noGroups = L"Failed to determine token groups";
    const struct {
        const char* what;
        ScriptedToken thread, process;
        std::wstring sentence;
    } rows[] = {
        {"the thread's", master, nobody, ok},
        {"the thread's counts alone", nobody, master, denied},
        {"the process's", none, master, ok},
        {"by a group", none, inGroup, ok},
        {"the local system", none, system, ok},
        {"neither", none, none, noToken},
        {"the thread's is not to be had", {.openCode = 5}, master, noToken},
        {"user's size", failing(TokenStep::size, {}), master, noUser},
        {"user's memory", failing(TokenStep::memory, {}), master, L"Out of memory"},
        {"user's data", failing(TokenStep::data, {}), master, noUser},
        {"groups' size", failing({}, TokenStep::size), master, noGroups},
        {"groups' memory", failing({}, TokenStep::memory), master, L"Out of memory"},
        {"groups' data", failing({}, TokenStep::data), master, noGroups},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        PodLab lab({.pod = roles});
        const auto accounts = std::make_shared<ScriptedAccounts>();
        accounts->thread = row.thread;
        accounts->process = row.process;
        lab.platform->accounts = accounts;
        expectAnswer(ask<&AdminPermission::check>(*lab.service, {}), row.sentence);
        EXPECT_EQ(accounts->tokensOpened, row.sentence == noToken ? 0 : 1);
        EXPECT_EQ(accounts->tokensOpen, 0);
        EXPECT_EQ(lab.counts->live, 0);
    }
}

TEST(AdminPermission, WithoutSidsIsFirstThatOfTheAccountThatBinds) {
    constexpr char people[] =
        "dn: CN=Member,DC=corp,DC=example\nobjectClass: user\nsAMAccountName: member\n"
        "objectSid: S-1-5-21-2000-2000-2000-50\ntokenGroups: S-1-5-21-2000-2000-2000-1\n\n";
    const struct {
        const wchar_t* account;
        std::wstring sentence;
        int tokens;
    } rows[] = {
        {L"CORP\\master", ok, 0},        // nobody in Active Directory, so without groups
        {L"CORP\\member", ok, 0},        // by a group
        {L"CORP\\stranger", denied, 0},  // the process, which may, does not count
        {L"CORP\\unknown", ok, 1},      {L"", ok, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(CORE::toUtf8(row.account));
        PeopleLab lab({.pod = roles, .corp = people});
        const auto accounts = std::make_shared<ScriptedAccounts>();
        accounts->users = {
            {L"CORP\\master", sidOf(1)}, {L"CORP\\member", sidOf(50)}, {L"CORP\\stranger", sidOf(9)}};
        accounts->process = {.user = sidOf(1)};
        lab.platform->accounts = accounts;
        lab.platform->directoryAccount = row.account;
        expectAnswer(ask<&AdminPermission::check>(*lab.service, {}), row.sentence);
        EXPECT_EQ(accounts->tokensOpened, row.tokens);
        lab.closeBindings();
        EXPECT_EQ(lab.counts->live, 0);
    }
}

}  // namespace
