#include <windows.h>

#include <gtest/gtest.h>

#include "framework/core/corestring.h"
#include "platform/windows/windows_platform.h"
#include "windows/stand_ins/security_authority.h"

namespace wsadmin::platform::windows {
namespace {

constexpr NTSTATUS status(unsigned number) {
    return static_cast<NTSTATUS>(number);
}

bool isOpen(HANDLE handle) {
    DWORD flags = 0;
    return GetHandleInformation(handle, &flags) != FALSE;
}

class Logon : public testing::Test {
  protected:
    Logon() { authority() = {}; }
    ~Logon() override {
        EXPECT_EQ(authority().openConnections, 0);
        EXPECT_EQ(authority().openProfiles, 0);
        authority() = {};
    }
    static test::SecurityAuthority& authority() { return test::securityAuthority(); }
    // A token of this process that allows what is given.
    static HANDLE processToken(DWORD access) {
        HANDLE token = nullptr;
        HANDLE copy = nullptr;
        EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_DUPLICATE | TOKEN_QUERY, &token));
        EXPECT_TRUE(
            DuplicateHandle(GetCurrentProcess(), token, GetCurrentProcess(), &copy, access, FALSE, 0));
        CloseHandle(token);
        return copy;
    }
    LogonResult logOn(const std::wstring& upn = L"alice@corp.example") {
        return accounts->logOn(upn, "ws_admin::group");
    }
    std::shared_ptr<AccountAuthority> accounts = makePlatform()->accounts;
};

TEST_F(Logon, AsksKerberosForTheUserAlone) {
    const HANDLE given = authority().token = processToken(TOKEN_QUERY);
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

TEST_F(Logon, SaysWhereAndWhyItFailed) {
    const struct {
        NTSTATUS connect, package, logon;
        LogonStep step;
        int code;
    } rows[] = {
        {status(0xC0000022), 0, 0, LogonStep::connect, ERROR_ACCESS_DENIED},
        {0, status(0xC00000FE), 0, LogonStep::package, accountNoSuchPackage},
        {0, 0, status(0xC0000072), LogonStep::logon, accountDisabled},
        {0, 0, status(0xC000006F), LogonStep::logon, accountWrongLogonHours},
        {0, 0, status(0xC0000234), LogonStep::logon, accountLockedOut},
        {0, 0, status(0xC0000193), LogonStep::logon, accountExpired},
        {0, 0, 0, LogonStep::logon, accountNoToken},  // a success without a token
    };
    for (const auto& row : rows) {
        authority() = {};
        authority().connect = row.connect;
        authority().package = row.package;
        authority().logon = row.logon;
        const auto logon = logOn();
        ASSERT_FALSE(logon) << row.code;
        EXPECT_EQ(logon.error().step, row.step) << row.code;
        EXPECT_EQ(logon.error().cause.code, row.code);
        EXPECT_FALSE(logon.error().cause.text.empty()) << row.code;
        EXPECT_EQ(authority().openConnections, 0) << row.code;
        EXPECT_EQ(authority().openProfiles, 0) << row.code;
    }
}

TEST_F(Logon, RefusesANameThatIsTooLong) {
    const auto logon = logOn(std::wstring(32768, L'x'));
    ASSERT_FALSE(logon);
    EXPECT_EQ(logon.error().cause.code, accountInvalidParameter);
    EXPECT_EQ(authority().connections, 0);
    authority().token = processToken(TOKEN_QUERY);
    EXPECT_TRUE(logOn(std::wstring(32767, L'x')));
    EXPECT_EQ(authority().upn.size(), 32767u);
}

TEST_F(Logon, TokensSayAtWhichStepAQuestionFailed) {
    constexpr std::optional<DWORD> answers;
    const struct {
        std::vector<std::optional<DWORD>> errors;
        DWORD size;
        TokenStep step;
        int code;
    } rows[] = {
        {{ERROR_INVALID_HANDLE}, 0, TokenStep::size, ERROR_INVALID_HANDLE},
        {{answers, ERROR_INVALID_HANDLE}, 0, TokenStep::data, ERROR_INVALID_HANDLE},
        {{answers, ERROR_INSUFFICIENT_BUFFER}, 0, TokenStep::data, accountInsufficientBuffer},
        {{}, test::hugeSize, TokenStep::memory, accountNotEnoughMemory},
    };
    for (const auto& row : rows) {
        authority() = {};
        authority().token = processToken(TOKEN_QUERY);
        const auto logon = logOn();
        ASSERT_TRUE(logon);
        authority().tokenSize = row.size;
        const auto expectFailure = [&](auto question) {
            authority().tokenErrors = row.errors;
            const auto answered = question();
            ASSERT_FALSE(answered) << row.code;
            EXPECT_EQ(answered.error().step, row.step) << row.code;
            EXPECT_EQ(answered.error().cause.code, row.code);
            EXPECT_FALSE(answered.error().cause.text.empty()) << row.code;
        };
        expectFailure([&] { return (*logon)->user(); });
        expectFailure([&] { return (*logon)->groups(); });
    }
    authority() = {};
    // The platform's own word for a token that may not be asked.
    authority().token = processToken(TOKEN_DUPLICATE);
    const auto user = logOn().value()->user();
    ASSERT_FALSE(user);
    EXPECT_EQ(user.error().step, TokenStep::size);
    EXPECT_EQ(user.error().cause.code, ERROR_ACCESS_DENIED);
}

}  // namespace
}  // namespace wsadmin::platform::windows
