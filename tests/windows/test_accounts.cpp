#include <windows.h>

#include <gmock/gmock.h>

#include "framework/core/corestring.h"
#include "platform/windows/windows_platform.h"
#include "support/rows.h"
#include "windows/stand_ins/security_authority.h"

namespace wsadmin::platform::windows {
namespace {

using testing::Contains;
using testing::Not;
using wstest::Json;

Sid sid(std::string_view text) {
    return Sid::parse(text).value();
}

std::wstring currentUser() {
    std::array<wchar_t, 257> name{};
    auto size = static_cast<DWORD>(name.size());
    return GetUserNameW(name.data(), &size) ? name.data() : L"";
}

// A token of this process that allows what is given.
HANDLE tokenOfProcess(DWORD access) {
    HANDLE token = nullptr, copy = nullptr;
    EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_DUPLICATE | TOKEN_QUERY, &token));
    EXPECT_TRUE(DuplicateHandle(GetCurrentProcess(), token, GetCurrentProcess(), &copy, access, FALSE, 0));
    CloseHandle(token);
    return copy;
}

// As the token itself counts them.
std::size_t groupsOfProcess() {
    TOKEN_STATISTICS statistics{};
    DWORD size = 0;
    const HANDLE token = tokenOfProcess(TOKEN_QUERY);
    EXPECT_TRUE(GetTokenInformation(token, TokenStatistics, &statistics, sizeof statistics, &size));
    CloseHandle(token);
    return statistics.GroupCount;
}

bool isOpen(HANDLE handle) {
    DWORD flags = 0;
    return GetHandleInformation(handle, &flags) != FALSE;
}

class Accounts : public testing::Test {
  protected:
    Accounts() { authority() = {}; }
    ~Accounts() override {
        RevertToSelf();
        EXPECT_EQ(authority().openConnections, 0);
        EXPECT_EQ(authority().openProfiles, 0);
        authority() = {};
    }
    static test::SecurityAuthority& authority() { return test::securityAuthority(); }
    // An account's SID, domain and kind; or the codes of the two questions that it is looked up by.
    Json found(const Json& in) {
        authority() = {};
        const std::wstring name = CORE::toWide(in.get<std::string>());
        AccountBufferSizes sizes = accounts->bufferSizesFor(name);
        if (sizes.error != accountInsufficientBuffer) {
            const auto absent = accounts->lookUp(name, {accountInsufficientBuffer, 68, 256});
            if (absent) return "found in spite of " + std::to_string(sizes.error);
            EXPECT_FALSE(absent.error().text.empty());
            return {sizes.error, absent.error().code};
        }
        const Account account = accounts->lookUp(name, sizes).value();
        EXPECT_EQ(sizes.sid, account.sid.bytes().size());
        EXPECT_EQ(sizes.domain, account.domain.size() + 1);
        authority().contentWithoutRoom = true;
        EXPECT_EQ(accounts->bufferSizesFor(name).error, accountInsufficientBuffer);
        EXPECT_TRUE(accounts->lookUp(name, sizes));
        authority() = {};
        --sizes.domain;
        EXPECT_EQ(accounts->lookUp(name, sizes).error().code, accountInsufficientBuffer);
        return {account.sid.text(), CORE::toUtf8(account.domain), static_cast<int>(account.kind)};
    }
    static NTSTATUS status(const Json& number) { return static_cast<NTSTATUS>(number.get<unsigned>()); }
    // The step and the code of a logon where these calls have failed.
    Json logonFailure(const Json& in) {
        authority() = {};
        authority().connect = status(in[0]);
        authority().package = status(in[1]);
        authority().logon = status(in[2]);
        const auto logon = logOn();
        if (logon) return "logged on";
        EXPECT_FALSE(logon.error().cause.text.empty());
        EXPECT_EQ(authority().openConnections, 0);
        EXPECT_EQ(authority().openProfiles, 0);
        return {static_cast<int>(logon.error().step), logon.error().cause.code};
    }
    // The same of the questions for a token's user and for its groups.
    Json tokenFailure(const Json& in) {
        authority() = {};
        authority().token = tokenOfProcess(TOKEN_QUERY);
        const auto logon = logOn().value();
        if (in.empty()) authority().tokenSize = test::hugeSize;
        Json told;
        const auto tell = [&](auto question) {
            authority().tokenErrors.clear();
            for (const Json& error : in)
                authority().tokenErrors.push_back(error.is_null() ? std::nullopt
                                                                  : std::optional<DWORD>(error.get<DWORD>()));
            const auto answered = question();
            ASSERT_FALSE(answered);
            EXPECT_FALSE(answered.error().cause.text.empty());
            told.push_back({static_cast<int>(answered.error().step), answered.error().cause.code});
        };
        tell([&] { return logon->user(); });
        tell([&] { return logon->groups(); });
        return told;
    }
    LogonResult logOn(const std::wstring& upn = L"alice@corp.example") {
        return accounts->logOn(upn, "ws_admin::group");
    }
    std::shared_ptr<AccountAuthority> accounts = makePlatform()->accounts;
};
using Logon = Accounts;

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
    const std::wstring name = currentUser();
    const auto named = accounts->lookUp(name, accounts->bufferSizesFor(name));
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

TEST_F(Logon, AsksKerberosForTheUserAlone) {
    const HANDLE given = authority().token = tokenOfProcess(TOKEN_QUERY);
    auto logon = logOn(L"j\u00f6rg@corp.example");
    ASSERT_TRUE(logon) << logon.error().cause.code;
    const test::SecurityAuthority& asked = authority();
    EXPECT_EQ(asked.packageName + " " + asked.origin + " " + asked.source,
              "Kerberos ws_admin::group ws_admin");
    EXPECT_EQ(asked.packageNumber, test::kerberosNumber);
    EXPECT_EQ(asked.type, 3);
    EXPECT_EQ(asked.message, 12);
    EXPECT_EQ(asked.flags, 0u);
    EXPECT_TRUE(asked.upnInBlock && !asked.hasRealm);
    EXPECT_EQ(asked.upn, L"j\u00f6rg@corp.example");

    const auto process = accounts->processToken();
    ASSERT_TRUE(process);
    EXPECT_EQ((*logon)->user().value(), (*process)->user().value());
    EXPECT_EQ((*logon)->groups().value(), (*process)->groups().value());
    EXPECT_TRUE(isOpen(given));
    logon->reset();
    EXPECT_FALSE(isOpen(given));
}

TEST_F(Logon, RefusesANameThatIsTooLong) {
    const auto logon = logOn(std::wstring(32768, L'x'));
    ASSERT_FALSE(logon);
    EXPECT_EQ(logon.error().cause.code, accountInvalidParameter);
    EXPECT_EQ(authority().connections, 0);
    authority().token = tokenOfProcess(TOKEN_QUERY);
    EXPECT_TRUE(logOn(std::wstring(32767, L'x')));
    EXPECT_EQ(authority().upn.size(), 32767u);
}

TEST_F(Logon, TheTokenTellsThePlatformsOwnWordWhereItMayNotBeAsked) {
    authority().token = tokenOfProcess(TOKEN_DUPLICATE);
    const auto user = logOn().value()->user();
    ASSERT_FALSE(user);
    EXPECT_EQ(user.error().step, TokenStep::size);
    EXPECT_EQ(user.error().cause.code, ERROR_ACCESS_DENIED);
}

TEST_F(Accounts, AnswerAsTheRowsSay) {
    wstest::tryRows(WS_SOURCE_DIR "/tests/windows/rows.jsonl",
                    {{"found", [this](const Json& in) { return found(in); }},
                     {"logon", [this](const Json& in) { return logonFailure(in); }},
                     {"token", [this](const Json& in) { return tokenFailure(in); }}});
}

}  // namespace
}  // namespace wsadmin::platform::windows
