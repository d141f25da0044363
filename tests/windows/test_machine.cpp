#include <windows.h>

#include <gtest/gtest.h>

#include "framework/core/corestring.h"
#include "platform/windows/windows_platform.h"

namespace wsadmin::platform::windows {
namespace {

TEST(WindowsRegistry, ExpandsVariablesAndKnowsItsRoots) {
    const auto registry = makePlatform()->registry;
    constexpr wchar_t text[] = L"%SystemRoot%\\x", below[] = L"Software\\ws_admin test of text";
    ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, below, L"path", REG_EXPAND_SZ, text, sizeof text),
              ERROR_SUCCESS);
    const auto read = registry->read(std::wstring(L"hkey_current_user\\") + below, L"path").value();
    RegDeleteTreeW(HKEY_CURRENT_USER, below);
    ASSERT_TRUE(read && std::holds_alternative<std::wstring>(*read));
    EXPECT_EQ(CORE::compareFolded(std::get<std::wstring>(*read), L"C:\\windows\\x"), 0);
    EXPECT_EQ(registry->read(L"HKXX\\Software", L"v").error().code, ERROR_INVALID_PARAMETER);
}

TEST(WindowsMachine, KnowsNamesAndFolders) {
    const auto platform = makePlatform();
    EXPECT_FALSE(platform->names->netBios().value().empty());
    EXPECT_FALSE(platform->names->dnsFullyQualified().value().empty());
    EXPECT_EQ(platform->folders->get(Folder::commonAppData).value(), L"C:\\ProgramData");
    EXPECT_EQ(platform->folders->get(Folder::programFiles).value(), L"C:\\Program Files");
    EXPECT_TRUE(platform->folders->get(Folder::localAppData).value().ends_with(L"\\AppData\\Local"));
    EXPECT_EQ(CORE::compareFolded(platform->folders->windowsDirectory().value(), L"C:\\windows"), 0);
}

}  // namespace
}  // namespace wsadmin::platform::windows
