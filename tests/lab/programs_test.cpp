// The programs of a lab's machine that make, fill and remove directory instances, over programs.jsonl.
#include <gtest/gtest.h>

#include "lab/directory_fixture.h"
#include "platform/lab/lab_platform.h"
#include "platform/text/registry_text.h"
#include "support/rows.h"
#include "support/temp_folder.h"

namespace wsadmin::platform::lab {
namespace {

using CORE::toUtf8;
using CORE::toWide;
using wstest::Json;

constexpr char toolsMachine[] = R"([machine]
netbios-name = "VCS1"
[clock]
now = "2026-01-01T00:00:00Z"
[files]
'C:\Windows\adam\adaminstall.exe' = ""
'C:\Windows\adam\adamuninstall.exe' = ""
'C:\Windows\system32\ldifde.exe' = ""
'C:\Windows\system32\dsmgmt.exe' = ""
'C:\answers.txt' = "answers.txt"
'C:\data.ldf' = "data.ldf"
[[directory]]
name = "pod"
suffixes = ["dc=t"]
)";

constexpr char usualAnswers[] =
    "[ADAMInstall]\nInstallType=Unique\nInstanceName=Layer\nNewApplicationPartitionToCreate=dc=g\n"
    "LocalLDAPPortToListenOn=22389\nLocalSSLPortToListenOn=22636\nDataFilesPath=C:\\Data\\Layer\n";

// The exit codes, what the installer says in the registry, and then the values that are asked for.
Json outcomeOf(Platform& lab, const Json& in) {
    Json outcome = Json::array();
    for (const std::string run : in.at("runs")) {
        const auto end = run.find(' ');
        const std::string folder = run.starts_with("adam") ? "adam" : "system32";
        const auto code =
            lab.processes->run(toWide("C:\\Windows\\" + folder + "\\" + run.substr(0, end) + ".exe"),
                               toWide(run.substr(std::min(run.size(), end + 1))));
        outcome.push_back(code ? Json(code->value()) : Json(toUtf8(code.error().text)));
    }
    constexpr wchar_t results[] =
        L"HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\ADAM_Installer_Results";
    const auto values = lab.registry->values(results);
    for (const auto& [name, data] : values.value())
        if (name.ends_with(L"Message")) outcome.push_back(toUtf8(registryText(data)));
    const Json asks = in.value("asks", Json::object());
    for (const auto& [dn, attribute] : asks.items()) {
        const auto session = lab.ldap->open({.host = "localhost", .port = 22389}).value();
        if (!session->bind({})) return outcome.push_back("down"), outcome;
        const auto found =
            session->search({.base = dn, .scope = LdapScope::base, .filter = "(objectClass=*)"});
        for (const auto& value : found ? found->entries.at(0).all(attribute.get<std::string>())
                                       : std::vector<std::string>{"absent"})
            outcome.push_back(value);
    }
    return outcome;
}

Json programs(const Json& in) {
    const wstest::TempFolder folder;
    folder.write("machine.toml", toolsMachine + in.value("toml", std::string()));
    folder.write("answers.txt", in.value("answers", std::string(usualAnswers)));
    folder.write("data.ldf", in.value("data", std::string()));
    const auto lab = openLab(folder.path());
    if (!lab) return failureText(lab.error());
    return outcomeOf(**lab, in);
}

TEST(Programs, OfALabsMachine) {
    wstest::tryRows(WS_SOURCE_DIR "/tests/lab/programs.jsonl", {{"programs", programs}});
}

// What an installation made is there when the lab is opened again, and gone when it was removed.
TEST(Programs, WhatTheyMadeIsSaved) {
    const wstest::TempFolder folder;
    folder.write("machine.toml", toolsMachine);
    folder.write("answers.txt", usualAnswers);
    folder.write("data.ldf", "dn: OU=a,dc=g\nobjectClass: organizationalUnit\n");
    const auto runs = [&](const std::vector<std::string>& programs) {
        const auto lab = openLab(folder.path()).value();
        const Json codes = outcomeOf(*lab, {{"runs", programs}});
        EXPECT_TRUE(lab->save());
        return codes;
    };
    const std::string install = "adaminstall /answer:\"C:\\answers.txt\"",
                      load = "ldifde -i -f C:\\data.ldf -s localhost -t 22389",
                      remove = "adamuninstall /i:Layer /q";
    EXPECT_EQ(runs({install, load}), Json({0, 0}));
    const std::string content = folder.read("Layer.ldif"), machine = folder.read("machine.toml");
    EXPECT_NE(content.find("dn: OU=a,"), content.npos) << content;
    EXPECT_NE(machine.find("ADAM_Layer"), machine.npos) << machine;
    EXPECT_NE(machine.find("adamntds.dit"), machine.npos) << machine;
    {
        const auto lab = openLab(folder.path()).value();
        EXPECT_TRUE(lab->files->exists(L"c:\\data\\layer\\ADAMNTDS.dit").value());
        EXPECT_EQ(outcomeOf(*lab, Json{{"runs", Json::array()}, {"asks", {{"OU=a,dc=g", "ou"}}}}),
                  Json({"a"}));
    }
    EXPECT_EQ(runs({remove}), Json({0}));
    // In one run, too, and a second time beside the file of the first.
    EXPECT_EQ(runs({install, remove, install}), Json({0, 0, 0}));
    const std::string again = folder.read("machine.toml");
    EXPECT_NE(again.find("Layer-2.ldif"), again.npos) << again;
    EXPECT_EQ(again.find("Layer.ldif"), again.npos) << again;
    EXPECT_EQ(runs({remove}), Json({0}));
    const std::string without = folder.read("machine.toml");
    EXPECT_EQ(without.find("Layer"), without.npos) << without;
    EXPECT_NE(without.find("suffixes = [\"dc=t\"]"), without.npos) << without;
}

}  // namespace
}  // namespace wsadmin::platform::lab
