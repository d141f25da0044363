#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>

#include "framework/core/coreexception.h"
#include "framework/core/corestring.h"

namespace {

using CORE::wstr;

void setVariable(const char* name, const char* value) {
#if defined(_WIN32)
    _putenv_s(name, value);
#else
    setenv(name, value, 1);
#endif
}

TEST(MachineText, ExpandsVariables) {
    setVariable("WS_TEST_A", "one");
    setVariable("WS_TEST_B", "%WS_TEST_A%");
    const struct {
        const wchar_t* text;
        const char* expanded;
    } cases[] = {
        {L"", ""},
        {L"nothing", "nothing"},
        {L"%WS_TEST_A%", "one"},
        {L"<%WS_TEST_A%\\%WS_TEST_A%>", "<one\\one>"},
        {L"%WS_TEST_B%", "%WS_TEST_A%"},  // a value is not looked at again
        {L"%WS_TEST_NONE%\\x", "%WS_TEST_NONE%\\x"},
        {L"%WS_TEST_NONE%WS_TEST_A%", "%WS_TEST_NONEone"},
        {L"100% %WS_TEST_A%", "100% one"},
        {L"%% %", "%% %"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(CORE::toUtf8(wstr(c.text).expandEnv()), c.expanded) << CORE::toUtf8(c.text);
}

TEST(MachineText, GuidsAreDifferentAndWellFormed) {
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) {
        const std::string guid = CORE::toUtf8(wstr::newGuid());
        ASSERT_EQ(guid.size(), 36U) << guid;
        for (std::size_t at = 0; at < guid.size(); ++at) {
            const bool dash = at == 8 || at == 13 || at == 18 || at == 23;
            ASSERT_EQ(guid[at] == '-', dash) << guid;
            ASSERT_TRUE(dash || std::string_view("0123456789abcdef").find(guid[at]) != std::string_view::npos)
                << guid;
        }
        EXPECT_EQ(guid[14], '4') << guid;
        EXPECT_NE(std::string_view("89ab").find(guid[19]), std::string_view::npos) << guid;
        seen.insert(guid);
    }
    EXPECT_EQ(seen.size(), 100U);
}

TEST(MachineText, NamesOfThisMachine) {
    const wstr netBios = wstr::getComputerName();
    EXPECT_TRUE(netBios == wstr::getComputerNameEx(CORE::ComputerNameFormat::netBios));
    EXPECT_FALSE(netBios.empty());
    EXPECT_LE(netBios.length(), 15);
    EXPECT_EQ(netBios.find(L"."), wstr::npos);
    const wstr dns = wstr::getComputerNameEx(CORE::ComputerNameFormat::dnsFullyQualified);
    EXPECT_FALSE(dns.empty());
}

TEST(MachineText, ModulesHavePaths) {
    const wstr program = wstr::getModuleName(nullptr);
    EXPECT_EQ(CORE::toUtf8(program.lastPath().dropSuffix()), "test_core");
    EXPECT_NE(program.findr(program.lastPath()), 0U) << "a full path";
}

TEST(MachineText, ErrorsHaveOneLineOfText) {
    for (const std::uint32_t code : {2U, 5U, 0x7FFFFFF0U}) {
        const std::string text = CORE::toUtf8(wstr::formatError(code));
        EXPECT_GT(text.size(), 5U) << code;
        EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos) << code;
    }
    EXPECT_NE(CORE::toUtf8(wstr::errorText(0x7FFFFFF0U)).find("2147483632"), std::string::npos);
}

TEST(MachineText, MissingRegistryValuesAreTheDefault) {
    for (const wchar_t* key : {L"HKLM\\Software\\Nobody\\Nothing", L"HKXX\\Software", L"", L"HKLM"}) {
        EXPECT_EQ(CORE::toUtf8(wstr::readRegistry(key, L"none", L"default")), "default") << CORE::toUtf8(key);
        EXPECT_EQ(CORE::toUtf8(wstr::readRegistryPolicyOverride(key, L"none", L"default")), "default")
            << CORE::toUtf8(key);
        EXPECT_EQ(CORE::toUtf8(wstr::readRegistry(key, L"none")), "") << CORE::toUtf8(key);
    }
}

#if defined(_WIN32)
TEST(MachineText, RegistryValuesAndTheirPolicies) {
    const auto add = [](const char* key, const char* rest) {
        const std::string command =
            std::string("reg add \"HKCU\\Software\\") + key + "\" /f " + rest + " > NUL";
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    };
    add("WsAdminTest\\Core", "/v Text /d plain");
    add("WsAdminTest\\Core", "/v Number /t REG_DWORD /d 4000000000");
    add("WsAdminTest\\Core", "/v Bytes /t REG_BINARY /d 00ff1a");
    add("WsAdminTest\\Core", "/v Both /d normal");
    add("Policies\\WsAdminTest\\Core", "/v Both /d policy");
    const wchar_t* key = L"HKCU\\Software\\WsAdminTest\\Core";
    EXPECT_EQ(CORE::toUtf8(wstr::readRegistry(key, L"Text")), "plain");
    EXPECT_EQ(CORE::toUtf8(wstr::readRegistry(L"HKEY_CURRENT_USER\\SOFTWARE\\wsadmintest\\core", L"text")),
              "plain");
    EXPECT_EQ(CORE::toUtf8(wstr::readRegistry(key, L"Number")), "4000000000");
    EXPECT_EQ(CORE::toUtf8(wstr::readRegistry(key, L"Bytes")), "00ff1a");
    EXPECT_EQ(CORE::toUtf8(wstr::readRegistry(key, L"Both")), "normal");
    EXPECT_EQ(CORE::toUtf8(wstr::readRegistryPolicyOverride(key, L"Both")), "policy");
    EXPECT_EQ(CORE::toUtf8(wstr::readRegistryPolicyOverride(key, L"Text")), "plain");
}
#endif

}  // namespace
