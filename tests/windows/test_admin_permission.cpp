// Whether the one who calls may administer, by the real token of the thread or the process; the directory is
// a lab's.
#include <windows.h>
// After windows.h:
#include <sddl.h>

#include <gtest/gtest.h>

#include "identity/admin_permission.h"
#include "identity/pod_lab.h"
#include "windows/stand_ins/security_authority.h"

namespace wstest {
namespace {

std::string textOf(PSID sid) {
    char* text = nullptr;
    if (!ConvertSidToStringSidA(sid, &text)) throw std::runtime_error("a token's SID has no text");
    const std::string copy = text;
    LocalFree(text);
    return copy;
}

// What the process's token says, asked by the platform's own means.
template <class Information>
std::vector<Information> tokenInformation(TOKEN_INFORMATION_CLASS what) {
    HANDLE token = nullptr;
    DWORD size = 0;
    EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token));
    GetTokenInformation(token, what, nullptr, 0, &size);
    std::vector<Information> data(size / sizeof(Information) + 1);
    EXPECT_TRUE(GetTokenInformation(token, what, data.data(), size, &size));
    CloseHandle(token);
    return data;
}

std::string userOfProcess() {
    return textOf(tokenInformation<TOKEN_USER>(TokenUser).front().User.Sid);
}

std::vector<std::string> groupsOfProcess() {
    const auto data = tokenInformation<TOKEN_GROUPS>(TokenGroups);
    std::vector<std::string> groups;
    for (DWORD i = 0; i < data.front().GroupCount; ++i) groups.push_back(textOf(data.front().Groups[i].Sid));
    return groups;
}

std::string roleOf(const std::string& sid) {
    return "dn: CN=Masters,OU=Groups,DC=vdi,DC=talvex,DC=int\nobjectClass: zre-AdminRole\n"
           "zre-AdminRolePermissions: Full=Allow\nmember: <SID=" +
           sid + ">\n";
}

// The sentence that a request without SIDs is answered with where the role is that SID's.
std::string answerWhereRoleIsOf(const std::string& sid) {
    PodLab lab({.pod = roleOf(sid)});
    const auto machine = wsadmin::platform::createPlatform({});
    if (!machine || !(*machine)->accounts) throw std::runtime_error("the machine has no accounts");
    lab.platform->accounts = (*machine)->accounts;
    const auto answer = ask<&wsadmin::AdminPermission::check>(*lab.service, {});
    EXPECT_EQ(lab.counts->live, 0);
    EXPECT_EQ(answer.getError() == 0, answer.utf8(L"result") == "OK");
    return answer.getError() ? CORE::toUtf8(answer.getErrorText()) : "OK";
}

const std::string nobody = "S-1-5-21-1-2-3-4242";

class CallersPermission : public testing::Test {
  protected:
    CallersPermission() { test::securityAuthority() = {}; }
    ~CallersPermission() override { RevertToSelf(); }
};

TEST_F(CallersPermission, IsThatOfTheUserAndOfEachGroupOfTheProcess) {
    const auto groups = groupsOfProcess();
    ASSERT_FALSE(groups.empty());
    EXPECT_EQ(answerWhereRoleIsOf(userOfProcess()), "OK");
    for (const std::string& group : groups) EXPECT_EQ(answerWhereRoleIsOf(group), "OK") << group;
    EXPECT_EQ(answerWhereRoleIsOf(nobody), "Permission Denied");
}

TEST_F(CallersPermission, IsThatOfTheThreadWhereItActsForSomebody) {
    const std::string user = userOfProcess(), group = groupsOfProcess().back();
    ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
    EXPECT_EQ(answerWhereRoleIsOf(user), "OK");
    EXPECT_EQ(answerWhereRoleIsOf(group), "OK");
    EXPECT_EQ(answerWhereRoleIsOf(nobody), "Permission Denied");

    // A token that says nobody can be opened by no one: had the process's been asked, it would be permitted.
    ASSERT_TRUE(RevertToSelf());
    ASSERT_TRUE(ImpersonateSelf(SecurityAnonymous));
    EXPECT_EQ(answerWhereRoleIsOf(user), "Failed to determine current process token");
    ASSERT_TRUE(RevertToSelf());
    EXPECT_EQ(answerWhereRoleIsOf(user), "OK");
}

}  // namespace
}  // namespace wstest
