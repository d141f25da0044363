#include <windows.h>

#include <gtest/gtest.h>

#include "framework/core/corestring.h"
#include "platform/windows/windows_platform.h"

namespace wsadmin::platform::windows {
namespace {

constexpr wchar_t testKey[] = LR"(HKCU\Software\ws_admin test)";

class WindowsRegistry : public testing::Test {
  protected:
    ~WindowsRegistry() override { RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\ws_admin test"); }
    std::shared_ptr<Registry> registry = makePlatform()->registry;
};

TEST_F(WindowsRegistry, KeepsEveryType) {
    const std::pair<const wchar_t*, RegistryData> rows[] = {
        {L"number", std::uint32_t{0xffffffff}},
        {L"text", std::wstring(L"J\u00f6rg \\ \"x\"")},
        {L"empty text", std::wstring()},
        {L"list", std::vector<std::wstring>{L"a", L"b c"}},
        {L"empty list", std::vector<std::wstring>{}},
        {L"bytes", std::vector<std::uint8_t>{0, 1, 255}},
        {L"no bytes", std::vector<std::uint8_t>{}},
        {L"long", std::wstring(5000, L'x')},
        {L"", std::wstring(L"the key's own")},
    };
    for (const auto& [name, data] : rows) {
        const auto written = registry->write(testKey, name, data);
        ASSERT_TRUE(written) << CORE::toUtf8(name) << " " << written.error().code;
        EXPECT_EQ(registry->read(LR"(hkey_current_user\SOFTWARE\WS_ADMIN TEST\)", name).value(), data)
            << CORE::toUtf8(name);
    }
    const auto values = registry->values(testKey).value();
    EXPECT_EQ(values.size(), std::size(rows));
    for (const auto& value : values) EXPECT_EQ(registry->read(testKey, value.first).value(), value.second);
}

TEST_F(WindowsRegistry, WhatIsAbsentIsNoFailure) {
    EXPECT_EQ(registry->read(testKey, L"v").value(), std::nullopt);
    EXPECT_TRUE(registry->values(testKey).value().empty());
    EXPECT_TRUE(registry->remove(testKey, L"v"));
    ASSERT_TRUE(registry->write(testKey, L"v", std::uint32_t{1}));
    EXPECT_EQ(registry->read(testKey, L"other").value(), std::nullopt);
    EXPECT_TRUE(registry->remove(testKey, L"V"));
    EXPECT_EQ(registry->read(testKey, L"v").value(), std::nullopt);
    EXPECT_EQ(registry->read(L"HKXX\\Software", L"v").error().code, ERROR_INVALID_PARAMETER);
}

TEST_F(WindowsRegistry, ExpandsVariables) {
    ASSERT_TRUE(registry->write(testKey, L"made", std::uint32_t{1}));
    const wchar_t text[] = L"%SystemRoot%\\x";
    ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, L"Software\\ws_admin test", L"path", REG_EXPAND_SZ, text,
                              sizeof text),
              ERROR_SUCCESS);
    const auto read = registry->read(testKey, L"path").value();
    ASSERT_TRUE(read && std::holds_alternative<std::wstring>(*read));
    EXPECT_EQ(CORE::compareFolded(std::get<std::wstring>(*read), L"C:\\windows\\x"), 0);
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
