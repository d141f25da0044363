#include <windows.h>

#include <gmock/gmock.h>

#include "framework/core/corestring.h"
#include "platform/windows/windows_platform.h"
#include "windows/stand_ins/security_authority.h"

namespace wsadmin::platform::windows {
namespace {

using testing::Contains;
using testing::Not;

Sid sid(std::string_view text) {
    return Sid::parse(text).value();
}

std::wstring currentUser() {
    std::array<wchar_t, 257> name{};
    auto size = static_cast<DWORD>(name.size());
    return GetUserNameW(name.data(), &size) ? name.data() : L"";
}

// As the token itself counts them.
std::size_t groupsOfProcess() {
    TOKEN_STATISTICS statistics{};
    DWORD size = 0;
    HANDLE token = nullptr;
    OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token);
    EXPECT_TRUE(GetTokenInformation(token, TokenStatistics, &statistics, sizeof statistics, &size));
    CloseHandle(token);
    return statistics.GroupCount;
}

class Accounts : public testing::Test {
  protected:
    Accounts() { authority() = {}; }
    ~Accounts() override {
        RevertToSelf();
        authority() = {};
    }
    static test::SecurityAuthority& authority() { return test::securityAuthority(); }
    Result<Account> find(const std::wstring& name) {
        const AccountBufferSizes sizes = accounts->bufferSizesFor(name);
        EXPECT_EQ(sizes.error, accountInsufficientBuffer) << CORE::toUtf8(name);
        return accounts->lookUp(name, sizes);
    }
    std::shared_ptr<AccountAuthority> accounts = makePlatform()->accounts;
};

TEST_F(Accounts, AreFoundByName) {
    const struct {
        const wchar_t* name;
        const char* sid;
        const wchar_t* domain;
        AccountKind kind = AccountKind::alias;
    } rows[] = {
        {L"SYSTEM", "S-1-5-18", L"NT AUTHORITY", AccountKind::wellKnownGroup},
        {L"Everyone", "S-1-1-0", L"", AccountKind::wellKnownGroup},
        {L"Administrators", "S-1-5-32-544", L"BUILTIN"},
        {L"BUILTIN\\Administrators", "S-1-5-32-544", L"BUILTIN"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(CORE::toUtf8(row.name));
        const AccountBufferSizes sizes = accounts->bufferSizesFor(row.name);
        EXPECT_EQ(sizes.sid, sid(row.sid).bytes().size());
        EXPECT_EQ(sizes.domain, std::wcslen(row.domain) + 1);
        const auto found = find(row.name);
        ASSERT_TRUE(found) << found.error().code;
        EXPECT_EQ(found->sid, sid(row.sid));
        EXPECT_EQ(found->domain, row.domain);
        EXPECT_EQ(found->kind, row.kind);
        authority().contentWithoutRoom = true;
        EXPECT_TRUE(find(row.name));
        authority() = {};
    }
}

TEST_F(Accounts, ThatAreNotThereOrHaveNoRoomAreNotFound) {
    constexpr AccountBufferSizes room{accountInsufficientBuffer, 68, 256};
    const std::pair<std::wstring, int> rows[] = {{L"nobody-of-that-name", accountNoneMapped},
                                                 {std::wstring(L"SYSTEM\0x", 8), accountInvalidParameter}};
    for (const auto& [name, code] : rows) {
        EXPECT_EQ(accounts->bufferSizesFor(name).error, code);
        const auto found = accounts->lookUp(name, room);
        ASSERT_FALSE(found);
        EXPECT_EQ(found.error().code, code);
        EXPECT_FALSE(found.error().text.empty());
    }
    AccountBufferSizes small = accounts->bufferSizesFor(L"Administrators");
    --small.domain;
    EXPECT_EQ(accounts->lookUp(L"Administrators", small).error().code, accountInsufficientBuffer);
}

TEST_F(Accounts, AreNamedInOrder) {
    const Sid nobody = sid("S-1-5-21-1-2-3-4242");
    std::vector<Sid> asked(1003, nobody);  // more than are asked for at once
    asked[0] = sid("S-1-5-18");
    asked[1000] = sid("S-1-1-0");
    asked[1002] = sid("S-1-5-32-544");
    const auto names = accounts->namesOf(asked);
    ASSERT_TRUE(names) << names.error().code;
    ASSERT_EQ(names->size(), asked.size());
    for (std::size_t i = 0; i < asked.size(); ++i)
        EXPECT_EQ((*names)[i].has_value(), asked[i] != nobody) << i;
    const auto shown = [&](std::size_t at) { return (*names)[at]->domain + L"\\" + (*names)[at]->name; };
    EXPECT_EQ(shown(0), L"NT AUTHORITY\\SYSTEM");
    EXPECT_EQ(shown(1000), L"\\Everyone");
    EXPECT_EQ(shown(1002), L"BUILTIN\\Administrators");
    EXPECT_EQ(names->back()->kind, AccountKind::alias);
    EXPECT_EQ(accounts->namesOf({nobody}).value().at(0), std::nullopt);
    EXPECT_TRUE(accounts->namesOf({}).value().empty());
}

TEST_F(Accounts, OfTheProcessAndTheThread) {
    auto token = accounts->processToken();
    ASSERT_TRUE(token) << token.error().code;
    const auto user = (*token)->user();
    ASSERT_TRUE(user);
    const auto named = find(currentUser());
    ASSERT_TRUE(named);
    EXPECT_EQ(*user, named->sid);
    EXPECT_EQ(named->kind, AccountKind::user);
    const auto groups = (*token)->groups();
    ASSERT_TRUE(groups);
    EXPECT_THAT(*groups, Contains(sid("S-1-1-0")));
    EXPECT_THAT(*groups, Not(Contains(*user)));
    EXPECT_EQ(groups->size(), groupsOfProcess());

    EXPECT_EQ(accounts->threadToken().error().code, accountNoToken);
    ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
    token = accounts->threadToken();
    RevertToSelf();
    ASSERT_TRUE(token) << token.error().code;
    EXPECT_EQ((*token)->user().value(), *user);
    EXPECT_EQ((*token)->groups().value(), *groups);
    EXPECT_EQ(accounts->threadToken().error().code, accountNoToken);
    // A thread's token that cannot be opened: who took the process's instead would grant more.
    ASSERT_TRUE(ImpersonateSelf(SecurityAnonymous));
    const auto unopened = accounts->threadToken();
    RevertToSelf();
    ASSERT_FALSE(unopened);
    EXPECT_NE(unopened.error().code, accountNoToken);
}

}  // namespace
}  // namespace wsadmin::platform::windows
