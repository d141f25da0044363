// What is written back to a lab's folder.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <thread>

#include "lab/directory_fixture.h"
#include "platform/lab/lab_platform.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"

#if !defined(_WIN32)
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

// Takes the place of the C library's for the whole program.
static std::atomic<bool> foldersCannotBeSynchronised{false};
extern "C" __attribute__((visibility("default"))) int fsync(int descriptor) {
    struct stat status {};
    if (foldersCannotBeSynchronised && fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
        errno = EIO;
        return -1;
    }
    return static_cast<int>(syscall(SYS_fsync, descriptor));
}
#endif

namespace wsadmin::platform::lab {
namespace {

namespace fs = std::filesystem;

constexpr char machineText[] =
    "[clock]\nnow = \"2026-01-01T00:00:00Z\"\n[[directory]]\nsuffixes = [\"dc=t\"]\nfiles = [\"a.ldif\", "
    "\"b.ldif\"]\n";
constexpr char fileA[] =
    "# people write comments\n\n"
    "dn: OU=a,DC=t\nobjectClass: organizationalUnit\n\n"
    "dn: CN=one,OU=a,DC=t\nobjectClass: zre-PropertyObject\nzre-ConnectionServerDN: CN=two,OU=b,DC=t\n";
constexpr char fileB[] =
    "dn: OU=b,DC=t\nobjectClass: organizationalUnit\ndescription:: IHg=\n\n"
    "dn: CN=two,OU=b,DC=t\nobjectClass: user\nobjectSid: S-1-5-21-1-2-3-4\n";

class Saving : public testing::Test {
  protected:
    Saving() {
        write("machine.toml", machineText);
        write("a.ldif", fileA);
        write("b.ldif", fileB);
    }
    void write(const std::string& name, const std::string& text) { temporary_.write(name, text); }
    std::string content(const std::string& name) { return temporary_.read(name); }
    std::map<std::string, fs::file_time_type> times() {
        std::map<std::string, fs::file_time_type> result;
        for (const auto& file : fs::directory_iterator(folder_))
            result[file.path().filename().string()] = file.last_write_time();
        return result;
    }
    std::shared_ptr<Platform> open() {
        auto platform = openLab(folder_);
        if (!platform) throw std::runtime_error(failureText(platform.error()));
        return *platform;
    }
    std::unique_ptr<LdapSession> session(Platform& platform) {
        auto session = std::move(platform.ldap->open({}).value());
        EXPECT_TRUE(session->bind({}));
        return session;
    }
    // A lab that is open, with an attribute of entries of its files set.
    std::shared_ptr<Platform> changed(const std::string& value,
                                      const std::vector<std::string>& names = {"OU=a,DC=t", "OU=b,DC=t"}) {
        auto platform = open();
        for (const auto& name : names)
            EXPECT_EQ(codeOf(session(*platform)->modify(name, {{LdapModify::add, "url", {value}}})),
                      ldapSuccess);
        return platform;
    }
    std::string failure(Platform& platform) {
        const auto saved = platform.save();
        return saved ? "" : failureText(saved.error());
    }
    // Nothing changed, and nothing was left behind.
    void expectUntouched() {
        EXPECT_EQ(content("a.ldif"), fileA);
        EXPECT_EQ(content("b.ldif"), fileB);
        EXPECT_EQ(times().size(), 3U);
    }

    wstest::TempFolder temporary_;
    const fs::path& folder_ = temporary_.path();
};

TEST_F(Saving, SavesOnlyWhatChanged) {
    const auto before = times();
    const auto platform = open();
    const auto ldap = session(*platform);
    EXPECT_EQ(codeOf(ldap->modify("CN=two,OU=b,DC=t", {{LdapModify::remove, "sn", {}}})),
              ldapNoSuchAttribute);
    EXPECT_TRUE(platform->save());
    EXPECT_EQ(times(), before);
    EXPECT_EQ(codeOf(ldap->modify("CN=two,OU=b,DC=t", {{LdapModify::add, "sn", {"T\xc3\xbc"}}})),
              ldapSuccess);
    EXPECT_EQ(codeOf(ldap->add({"CN=three,OU=b,DC=t", {{"objectClass", {"container"}}}})), ldapSuccess);
    EXPECT_TRUE(platform->save());
    EXPECT_EQ(content("a.ldif"), fileA);
    EXPECT_EQ(content("b.ldif"),
              "dn: OU=b,DC=t\nobjectClass: organizationalUnit\ndescription:: IHg=\n\n"
              "dn: CN=two,OU=b,DC=t\nobjectClass: user\nwhenChanged: 20260101000000.0Z\nobjectSid: "
              "S-1-5-21-1-2-3-4\nsn:: VMO8\n\n"
              "dn: CN=three,OU=b,DC=t\nobjectClass: container\nwhenCreated: 20260101000000.0Z\n\n");
    EXPECT_EQ(times().size(), 3U);  // no temporary file is left
}

TEST_F(Saving, WhatWasSavedIsReadAgain) {
    const auto all = [&](LdapSession& ldap) {
        std::string text;
        const auto result =
            searchBelow(ldap, "DC=t", "(objectClass=*)", {}, {{controls::showDeleted, {}, true}});
        std::map<std::string, std::string> entries;
        for (const auto& entry : result->entries)
            for (const auto& [name, values] : entry.attributes)
                if (!name.starts_with("uSN"))
                    for (const auto& value : values) entries[entry.dn] += name + "=" + value + "\n";
        for (const auto& [dn, values] : entries) text += dn + "\n" + values;
        return text;
    };
    std::string before;
    {
        const auto platform = open();
        const auto ldap = session(*platform);
        EXPECT_EQ(codeOf(ldap->remove("CN=two,OU=b,DC=t")), ldapSuccess);  // "one" still refers to it
        EXPECT_EQ(codeOf(ldap->add(
                      {"CN=two,OU=b,DC=t", {{"objectClass", {"user"}}, {"sn", {std::string("a\0b", 3)}}}})),
                  ldapSuccess);
        EXPECT_EQ(codeOf(ldap->rename("OU=b,DC=t", "OU=b, with comma", "OU=a,DC=t", true)),
                  ldapInvalidDnSyntax);
        EXPECT_EQ(codeOf(ldap->rename("OU=b,DC=t", "OU=moved\\, too", "OU=a,DC=t", true)), ldapSuccess);
        EXPECT_EQ(codeOf(ldap->modify("DC=t", {{LdapModify::add, "description", {"the top"}}})), ldapSuccess);
        EXPECT_TRUE(platform->registry->write(L"HKLM\\A", L"x", std::wstring(L"y")));
        before = all(*ldap);
        EXPECT_TRUE(platform->save());
    }
    const auto platform = open();
    const auto ldap = session(*platform);
    EXPECT_EQ(all(*ldap), before);
    EXPECT_NE(before.find("CN=two\\0ADEL:"), std::string::npos);
    EXPECT_EQ(platform->registry->read(L"HKLM\\A", L"x").value(), RegistryData(std::wstring(L"y")));
    EXPECT_TRUE(content("machine.toml").starts_with(machineText));
}

TEST_F(Saving, RulesAreWrittenBackWithoutTheirKeys) {
    const std::string before = "# kept\n", after = std::string("\n") + machineText;
    write("machine.toml", before +
                              "[firewall]\nprivate = false\n[[firewall.rule]]\nname = \"old\"\n"
                              "[[ipsec.peer]]\naddress = \"10.1.2.3\"\nseen-as = \"10.9.9.9\"\n" +
                              after);
    const auto associations = [](Platform& platform) {
        return platform.filtering->open().value()->securityAssociations().value()->next().value();
    };
    {
        const auto platform = open();
        for (
            const std::string_view line :
            {R"(netsh advfirewall firewall delete rule name="old")",
             R"(netsh advfirewall mainmode add rule name="m" endpoint1=10.1.2.3 endpoint2=any enable=yes )"
             R"(profile=any type=static auth1=computerpsk auth1psk="main-key" mmsecmethods=dhgroup2:aes128-sha256)",
             R"(netsh advfirewall consec add rule name="q" endpoint1=10.1.2.3 port1=any endpoint2=any )"
             R"(port2=8009 action=noauthentication mode=transport enable=yes profile=any type=static )"
             R"(protocol=tcp interfacetype=any auth1=computerpsk auth1psk="quick-key" qmpfs=dhgroup2 )"
             R"(qmsecmethods=esp:sha256-aes128)"})
            EXPECT_EQ(platform->commands->run(CORE::secretstring(line), nullptr), 0) << line;
        EXPECT_TRUE(platform->save());
    }
    const std::string saved = content("machine.toml");
    EXPECT_EQ(saved.find("-key"), saved.npos) << saved;
    EXPECT_TRUE(saved.starts_with(before) && saved.ends_with(after)) << saved;
    const auto platform = open();
    const auto alive = associations(*platform);
    ASSERT_EQ(alive.size(), 1U);
    EXPECT_EQ(alive[0].filterName, L"q");
    EXPECT_EQ(platform->filtering->addressText().value()(alive[0]), "10.9.9.9");
    const auto firewall = platform->firewall->open().value();
    EXPECT_EQ(firewall->rules().value()->next().value(), nullptr);
    EXPECT_EQ(firewall->enabled(firewallPrivate).value(), 0);
    EXPECT_EQ(firewall->enabled(firewallPublic).value(), firewallTrue);
}

TEST_F(Saving, OfTwoAtOnceTheSecondIsRefused) {
    const auto first = changed("one"), second = changed("two");
    EXPECT_EQ(failure(*first), "");
    EXPECT_EQ(failure(*first), "");  // its own files are no surprise to it
    const std::string after = content("a.ldif");
    EXPECT_EQ(failure(*second),
              "a.ldif was changed by somebody else since it was read, and nothing is saved");
    EXPECT_EQ(content("a.ldif"), after);
    EXPECT_EQ(failure(*changed("three", {"CN=two,OU=b,DC=t"})), "");

    const auto registry = open();
    EXPECT_TRUE(registry->registry->write(L"HKLM\\A", L"x", std::wstring(L"y")));
    write("machine.toml", std::string(machineText) + "# by hand\n");
    EXPECT_TRUE(failure(*registry).starts_with("machine.toml was changed"));
}

// Whoever reports success is found in the file.
TEST_F(Saving, ManyAtOnceLoseNothingThatWasReported) {
    write("a.ldif", "dn: OU=a,DC=t\nobjectClass: organizationalUnit\n");
    std::atomic<int> saved{0};
    std::vector<std::thread> savers;
    for (int i = 0; i < 6; ++i)
        savers.emplace_back([&, i] {
            for (int round = 0; round < 8; ++round)
                if (changed(std::to_string(i) + "-" + std::to_string(round), {"OU=a,DC=t"})->save()) ++saved;
        });
    for (auto& saver : savers) saver.join();
    std::string text = content("a.ldif");
    int found = 0;
    for (std::size_t at = 0; (at = text.find("url: ", at)) != std::string::npos; ++at) ++found;
    EXPECT_GT(found, 0);
    EXPECT_EQ(found, saved);
}

TEST_F(Saving, KeepsModeAndLinks) {
    fs::permissions(folder_ / "a.ldif",
                    fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    const auto before = fs::status(folder_ / "a.ldif").permissions();
    EXPECT_EQ(failure(*changed("x")), "");
    EXPECT_EQ(fs::status(folder_ / "a.ldif").permissions(), before);
    EXPECT_NE(content("a.ldif").find("url: x"), std::string::npos);
    EXPECT_EQ(times().size(), 3U);
#if !defined(_WIN32)
    fs::create_directory(folder_ / "real");
    fs::rename(folder_ / "a.ldif", folder_ / "real" / "a");
    fs::create_symlink("real/a", folder_ / "a.ldif");
    EXPECT_EQ(failure(*changed("y")), "");
    EXPECT_TRUE(fs::is_symlink(folder_ / "a.ldif"));
    EXPECT_NE(content("real/a").find("url: y"), std::string::npos);
#endif
}

TEST_F(Saving, AFileThatMayNotBeWrittenIsRefusedAndNothingIsSaved) {
    const auto platform = changed("x");
    fs::permissions(folder_ / "b.ldif",
                    fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
    const std::string refused = failure(*platform);
    EXPECT_NE(refused.find("b.ldif: "), std::string::npos) << refused;
    expectUntouched();
    fs::permissions(folder_ / "b.ldif", fs::perms::owner_all);
    EXPECT_EQ(failure(*platform), "");  // nothing was lost
    EXPECT_NE(content("b.ldif").find("url: x"), std::string::npos);
}

#if !defined(_WIN32)
// As on a full disk: the system takes the beginning of what is written and no more.
TEST_F(Saving, AFullDiskLeavesAllFilesAsTheyWere) {
    const auto platform = changed("x", {"OU=a,DC=t"});
    EXPECT_EQ(codeOf(session(*platform)->modify("OU=b,DC=t",
                                                {{LdapModify::add, "info", {std::string(5000, 'x')}}})),
              ldapSuccess);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit full = before;
    full.rlim_cur = 4000;
    const auto signal = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &full);
    const std::string refused = failure(*platform);
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, signal);
    EXPECT_TRUE(refused.starts_with("Cannot write ") && refused.ends_with("b.ldif: File too large"))
        << refused;
    expectUntouched();
}

TEST_F(Saving, WhatIsInPlaceButNotSynchronisedIsNoChangeOfSomebodyElse) {
    const auto platform = changed("x");
    foldersCannotBeSynchronised = true;
    const std::string refused = failure(*platform);
    foldersCannotBeSynchronised = false;
    EXPECT_TRUE(refused.ends_with("a.ldif: Input/output error")) << refused;
    EXPECT_NE(content("a.ldif").find("url: x"), std::string::npos);
    EXPECT_EQ(content("b.ldif"), fileB);
    EXPECT_EQ(failure(*platform), "");
    EXPECT_NE(content("b.ldif").find("url: x"), std::string::npos);
}
#endif

TEST_F(Saving, ALabThatIsNotSavedSaysWhatIsNotKept) {
    const wstest::LogCapture log(CORE::logWarning);
    const auto platform = openLab(folder_, Changes::dropped).value();
    EXPECT_TRUE(platform->save());
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(codeOf(session(*platform)->modify("OU=b,DC=t", {{LdapModify::add, "url", {"x"}}})),
              ldapSuccess);
    EXPECT_TRUE(platform->registry->write(L"HKLM\\A", L"x", std::wstring(L"y")));
    EXPECT_TRUE(platform->save());
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0].text,
              L"What changed in b.ldif, machine.toml is not kept: nothing was to be saved");
    expectUntouched();
}

}  // namespace
}  // namespace wsadmin::platform::lab
