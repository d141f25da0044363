// What strings ask of the machine.
#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>
#include <set>

#include "framework/core/corestring.h"

namespace {

using CORE::toUtf8;
using CORE::wstr;

TEST(MachineText, GuidsAreDifferentAndWellFormed) {
    const std::regex form("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) {
        const std::string guid = toUtf8(wstr::newGuid());
        EXPECT_TRUE(std::regex_match(guid, form)) << guid;
        EXPECT_TRUE(seen.insert(guid).second) << guid;
    }
}

TEST(MachineText, NamesOfThisMachineAndItsProgram) {
    const wstr netBios = wstr::getComputerName();
    EXPECT_TRUE(netBios == wstr::getComputerNameEx(CORE::ComputerNameFormat::netBios));
    EXPECT_FALSE(netBios.empty());
    EXPECT_LE(netBios.length(), 15);
    EXPECT_EQ(netBios.find(L"."), wstr::npos);
    EXPECT_FALSE(wstr::getComputerNameEx(CORE::ComputerNameFormat::dnsFullyQualified).empty());
    const wstr program = wstr::getModuleName(nullptr);
    EXPECT_EQ(toUtf8(program.lastPath().dropSuffix()), "test_core");
    EXPECT_NE(program.findr(program.lastPath()), 0U) << "a full path";
}

TEST(MachineText, ErrorsHaveOneLineOfText) {
    for (const std::uint32_t code : {2U, 5U, 0x7FFFFFF0U}) {
        const std::string text = toUtf8(wstr::formatError(code));
        EXPECT_GT(text.size(), 5U) << code;
        EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos) << code;
    }
    EXPECT_NE(toUtf8(wstr::errorText(0x7FFFFFF0U)).find("2147483632"), std::string::npos);
}

TEST(MachineText, MissingRegistryValuesAreTheDefault) {
    for (const wchar_t* key : {L"HKLM\\Software\\Nobody\\Nothing", L"HKXX\\Software", L"", L"HKLM"}) {
        EXPECT_EQ(toUtf8(wstr::readRegistry(key, L"none", L"default")), "default") << toUtf8(key);
        EXPECT_EQ(toUtf8(wstr::readRegistryPolicyOverride(key, L"none", L"default")), "default");
    }
}

#if defined(_WIN32)
TEST(MachineText, RegistryValuesAndTheirPolicies) {
    for (const char* value : {"WsAdminTest\\Core\" /v Text /d plain", "WsAdminTest\\Core\" /v Both /d normal",
                              "WsAdminTest\\Core\" /v Number /t REG_DWORD /d 4000000000",
                              "WsAdminTest\\Core\" /v Bytes /t REG_BINARY /d 00ff1a",
                              "WsAdminTest\\Core\" /v Lines /t REG_MULTI_SZ /d one\\0two",
                              "Policies\\WsAdminTest\\Core\" /v Both /d policy"}) {
        const std::string command = std::string("reg add \"HKCU\\Software\\") + value + " /f > NUL";
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }
    const wchar_t* key = L"HKCU\\Software\\WsAdminTest\\Core";
    const std::pair<const wchar_t*, const char*> cases[] = {{L"Text", "plain"},
                                                            {L"Both", "normal"},
                                                            {L"Number", "4000000000"},
                                                            {L"Bytes", "00ff1a"},
                                                            {L"Lines", "one\ntwo"}};
    for (const auto& [name, text] : cases) EXPECT_EQ(toUtf8(wstr::readRegistry(key, name)), text);
    EXPECT_EQ(toUtf8(wstr::readRegistry(L"HKEY_CURRENT_USER\\SOFTWARE\\wsadmintest\\core", L"text")),
              "plain");
    EXPECT_EQ(toUtf8(wstr::readRegistryPolicyOverride(key, L"Both")), "policy");
    EXPECT_EQ(toUtf8(wstr::readRegistryPolicyOverride(key, L"Text")), "plain");
}
#endif

}  // namespace
