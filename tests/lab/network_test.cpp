// A lab of several machines on one network.
#include <gtest/gtest.h>

#include "lab/directory_fixture.h"
#include "platform/lab/lab_platform.h"
#include "support/temp_folder.h"

namespace wsadmin::platform::lab {
namespace {

class SeveralMachines : public testing::Test {
  protected:
    SeveralMachines() {
        folder.write("VCS1.toml", machine("VCS1", "one"));
        folder.write("VCS2.toml", machine("VCS2", "two"));
        for (const std::string file : {"one", "two"})
            folder.write(file + ".ldif", "dn: OU=" + file + ",DC=t\nobjectClass: organizationalUnit\n");
        folder.write("answers.txt",
                     "[ADAMInstall]\nInstallType=Unique\nInstanceName=Layer\n"
                     "NewApplicationPartitionToCreate=dc=g\nLocalLDAPPortToListenOn=22389\n"
                     "LocalSSLPortToListenOn=22636\nDataFilesPath=C:\\Data\\Layer\n");
    }
    static std::string machine(const std::string& name, const std::string& file) {
        return "[machine]\nnetbios-name = \"" + name + "\"\ndns-name = \"" + name +
               ".corp.example\"\n[files]\n'C:\\Windows\\adam\\adaminstall.exe' = \"\"\n'C:\\answers.txt' = "
               "\"answers.txt\"\n[[directory]]\nname = \"pod\"\nsuffixes = [\"dc=t\"]\nfiles = [\"" +
               file + ".ldif\"]\n";
    }
    std::shared_ptr<Platform> open(std::string_view name) {
        auto lab = openLab(folder.path(), Changes::saved, name);
        EXPECT_TRUE(lab) << failureText(lab.error());
        return *lab;
    }
    std::string refused(std::string_view name) {
        const auto lab = openLab(folder.path(), Changes::saved, name);
        return lab ? "" : failureText(lab.error());
    }
    // Which of the entries is found there; empty where nobody answers.
    static std::string at(Platform& lab, const std::string& host, std::uint16_t port = 389) {
        const auto session = lab.ldap->open({.host = host, .port = port}).value();
        if (!session->bind({})) return "";
        const auto found = session->search({.base = port == 389 ? "DC=t" : "DC=g",
                                            .scope = LdapScope::subtree,
                                            .filter = "(|(ou=one)(ou=two)(cn=Readers))",
                                            .attributes = {"ou", "cn"}});
        const LdapEntry& entry = found.value().entries.at(0);
        return std::string(entry.first("ou")) + std::string(entry.first("cn"));
    }

    wstest::TempFolder folder;
};

TEST_F(SeveralMachines, EachHasItsNameItsDirectoriesAndReachesTheOthers) {
    for (const auto& [name, own, other, others] :
         {std::tuple{"vcs1", "one", "VCS2", "two"}, {"VCS2", "two", "vcs1.corp.example", "one"}}) {
        const auto lab = open(name);
        EXPECT_TRUE(CORE::equalFolded(CORE::toUtf8(lab->names->netBios().value()), name));
        for (const char* host : {"", "localhost", "127.0.0.1", "::1"}) EXPECT_EQ(at(*lab, host), own);
        EXPECT_EQ(at(*lab, other), others);
        EXPECT_EQ(at(*lab, "VCS3"), "");
    }
}

TEST_F(SeveralMachines, OneDirectoryStandsForItsReplicas) {
    folder.write("VCS1.toml", machine("VCS1", "one") + "replicas-on = [\"VCS3\"]\n");
    folder.write("VCS3.toml", "[machine]\nnetbios-name = \"VCS3\"\n");
    EXPECT_EQ(at(*open("VCS3"), "localhost"), "one");
    EXPECT_EQ(at(*open("VCS2"), "VCS3"), "one");
    EXPECT_EQ(at(*open("VCS2"), "localhost"), "two");
}

TEST_F(SeveralMachines, WhichOneIsMeantHasToBeSaid) {
    const std::string known = " (there are VCS1, VCS2)";
    EXPECT_TRUE(refused("").ends_with(": which machine is meant has to be said" + known)) << refused("");
    EXPECT_TRUE(refused("../VCS1").ends_with(": there is no machine \"../VCS1\"" + known));
    folder.write("machine.toml", machine("LAB", "one"));
    EXPECT_TRUE(refused("VCS1").ends_with(": there is one machine, that of machine.toml"));
    EXPECT_EQ(at(*open(""), "localhost"), "one");
    EXPECT_EQ(at(*open(""), "VCS2"), "") << "the others' files count no more";
}

TEST_F(SeveralMachines, WhatOneMakesTheOthersFind) {
    {
        const auto lab = open("VCS2");
        EXPECT_EQ(at(*lab, "VCS2", 22389), "");
        EXPECT_EQ(lab->processes->run(L"C:\\Windows\\adam\\adaminstall.exe", L"/answer:C:\\answers.txt"), 0);
        const auto session = lab->ldap->open({.host = "VCS1"}).value();
        EXPECT_TRUE(session->bind({}));
        EXPECT_TRUE(session->modify("OU=one,DC=t", {{LdapModify::add, "description", {"seen"}}}));
        EXPECT_TRUE(lab->save());
    }
    const auto lab = open("VCS1");
    EXPECT_EQ(at(*lab, "VCS2", 22389), "Readers");
    EXPECT_EQ(at(*lab, "localhost", 22389), "");
    EXPECT_NE(folder.read("one.ldif").find("description: seen"), std::string::npos);
    EXPECT_EQ(folder.read("VCS1.toml"), machine("VCS1", "one"));
}

}  // namespace
}  // namespace wsadmin::platform::lab
