// machine.toml, and the machine made from it.
#include <gtest/gtest.h>

#include "lab/directory_fixture.h"

namespace wsadmin::platform::lab {
namespace {

MachineDescription read(std::string_view text) {
    auto machine = readMachineFile(text, "machine.toml");
    EXPECT_TRUE(machine) << failureText(machine.error());
    return machine ? std::move(*machine) : MachineDescription();
}

TEST(MachineFile, EverythingHasADefault) {
    const auto machine = read("[[directory]]\nsuffixes = [\"dc=t\"]\n");
    EXPECT_EQ(machine.netBiosName, L"LAB");
    EXPECT_EQ(machine.installation.role, CORE::InstType::connectionServer);
    EXPECT_EQ(machine.installation.osLevel, CORE::coreosver::newest);
    EXPECT_EQ(machine.account, L"");
    EXPECT_EQ(machine.directories.at(0).address.ports, std::vector<std::uint16_t>{389});
    EXPECT_EQ(machine.directories.at(0).settings.pageSize, 1000);
    EXPECT_FALSE(machine.fixedTime);
    const LabFolders folders(machine);
    EXPECT_EQ(folders.get(Folder::commonAppData).value(), L"C:\\ProgramData");
    EXPECT_EQ(folders.windowsDirectory().value(), L"C:\\Windows");
}

TEST(SimulatedMachine, WhatCannotBeObtained) {
    const auto machine = read(
        "[machine]\ndns-name = \"\"\n[folders]\ncommon-app-data = \"\"\nprogram-files = 'D:\\P'\nwindows = "
        "\"\"\n");
    const LabFolders folders(machine);
    EXPECT_EQ(codeOf(folders.get(Folder::commonAppData)), 3);
    EXPECT_EQ(folders.get(Folder::programFiles).value(), L"D:\\P");
    EXPECT_EQ(codeOf(folders.windowsDirectory()), 3);
    const LabNames names(machine.netBiosName, machine.dnsName);
    EXPECT_EQ(names.netBios().value(), L"LAB");
    EXPECT_FALSE(names.dnsFullyQualified());
}

TEST(SimulatedMachine, RegistryIsReadAndWrittenBack) {
    const std::string text =
        "# a comment\n[machine]\nnetbios-name = \"X\"\n\n[registry.'HKLM\\Software\\A, B']\ntext = "
        "\"one\"\nnumber = 7\n"
        "list = [\"a\", \"b\"]\nbytes = { hex = \"00ff\" }\n# lost\n\n[[program]]\nname = \"[registry\"  # "
        "kept\n";
    LabRegistry registry(read(text).registry);
    const auto value = [&](const wchar_t* name) {
        return registry.read(L"hklm\\software\\a, b", name).value();
    };
    EXPECT_EQ(value(L"TEXT"), RegistryData(std::wstring(L"one")));
    EXPECT_EQ(value(L"number"), RegistryData(std::uint32_t{7}));
    EXPECT_EQ(value(L"list"), RegistryData(std::vector<std::wstring>{L"a", L"b"}));
    EXPECT_EQ(value(L"bytes"), RegistryData(std::vector<std::uint8_t>{0, 255}));
    EXPECT_EQ(value(L"other"), std::nullopt);
    EXPECT_FALSE(registry.takeChanges());

    EXPECT_TRUE(registry.write(L"HKLM\\SOFTWARE\\A, B\\", L"Text", std::wstring(L"quote \" and \\")));
    EXPECT_TRUE(registry.write(L"HKLM\\New", L"n", std::uint32_t{1}));
    EXPECT_TRUE(registry.remove(L"HKLM\\Software\\A, B", L"list"));
    const auto changes = registry.takeChanges();
    ASSERT_TRUE(changes);
    EXPECT_FALSE(registry.takeChanges());
    const auto written = replaceRegistry(text, *changes);
    const auto again = read(written);
    LabRegistry second(again.registry);
    EXPECT_EQ(second.read(L"HKLM\\Software\\A, B", L"text").value(),
              RegistryData(std::wstring(L"quote \" and \\")));
    EXPECT_EQ(second.read(L"HKLM\\Software\\A, B", L"list").value(), std::nullopt);
    EXPECT_EQ(second.read(L"HKLM\\Software\\A, B", L"bytes").value(),
              RegistryData(std::vector<std::uint8_t>{0, 255}));
    EXPECT_EQ(second.read(L"HKLM\\New", L"n").value(), RegistryData(std::uint32_t{1}));
    EXPECT_EQ(again.programs.at(0).program, L"[registry");
    EXPECT_TRUE(written.starts_with("# a comment\n[machine]\nnetbios-name = \"X\"\n\n[registry")) << written;
    EXPECT_NE(written.find("[[program]]\nname = \"[registry\"  # kept\n"), std::string::npos) << written;
    EXPECT_EQ(replaceRegistry(written, *changes), written);
    EXPECT_EQ(read(replaceRegistry("[machine]\n", *changes)).registry.size(), 2U);
    EXPECT_EQ(replaceRegistry(written, {}).find("HKLM"), std::string::npos);
}

TEST(SimulatedMachine, ProgramsByPattern) {
    auto clock = std::make_shared<FixedClock>(Seconds{});
    LabProcesses processes(
        read("[[program]]\nname = '*\\netsh.exe'\narguments = \"advfirewall * name=?\"\nexit-code = 1\n"
             "[[program]]\nname = '*\\NETSH.EXE'\nexit-code = 2\nduration = 3000\n")
            .programs,
        clock, [](const std::wstring& program, const std::wstring&) {
            return program == L"C:\\own.exe" ? std::optional(3) : std::nullopt;
        });
    const auto run = [&](const std::wstring& arguments) {
        return processes.run(L"C:\\Windows\\system32\\netsh.exe", arguments).value();
    };
    EXPECT_EQ(run(L"advfirewall add name=x"), 1);
    EXPECT_EQ(run(L"advfirewall add name=xy"), 2);
    EXPECT_EQ(clock->monotonic().time_since_epoch(), std::chrono::seconds(3));
    EXPECT_EQ(processes.run(L"C:\\own.exe", {}).value(), 3);
    EXPECT_EQ(codeOf(processes.run(L"C:\\other.exe", {})), 2);
}

TEST(SimulatedMachine, TimeMovesOnByWaitingOnly) {
    FixedClock clock(read("[clock]\nnow = \"2026-01-01T00:00:00Z\"\n").fixedTime.value());
    const auto start = clock.now();
    EXPECT_EQ(timeToText(std::chrono::floor<std::chrono::seconds>(start)), "20260101000000.0Z");
    CORE::coreevent stop;
    EXPECT_FALSE(clock.wait(std::chrono::minutes(3), &stop));
    EXPECT_EQ(clock.now() - start, std::chrono::minutes(3));
    stop.set();
    EXPECT_TRUE(clock.wait(std::chrono::minutes(3), &stop));
    EXPECT_EQ(clock.now() - start, std::chrono::minutes(3));
}

}  // namespace
}  // namespace wsadmin::platform::lab
