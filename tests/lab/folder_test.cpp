// What is written back to a lab's folder.
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <filesystem>
#include <thread>

#include "framework/core/coreexception.h"
#include "framework/core/saved_file.h"
#include "lab/directory_fixture.h"
#include "platform/lab/lab_platform.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"

#if !defined(_WIN32)
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

// Takes the place of the C library's for the whole program: so many folders can be synchronised yet.
static std::atomic<int> foldersLeft{INT_MAX};
extern "C" __attribute__((visibility("default"))) int fsync(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode) && foldersLeft-- <= 0) {
        errno = EIO;
        return -1;
    }
    return static_cast<int>(syscall(SYS_fsync, descriptor));
}
#endif

namespace wsadmin::platform::lab {
namespace {

namespace fs = std::filesystem;

const fs::path original = WS_SOURCE_DIR "/tests/lab/saving";

class Saving : public testing::Test {
  protected:
    Saving() { fs::copy(original, folder_); }
    std::string content(const std::string& name) { return temporary_.read(name); }
    auto files() const { return std::distance(fs::directory_iterator(folder_), fs::directory_iterator()); }
    static void change(Platform& platform, const std::string& name, const std::string& value) {
        const auto session = platform.ldap->open({}).value();
        EXPECT_TRUE(session->bind({}));
        EXPECT_EQ(codeOf(session->modify(name, {{LdapModify::add, "url", {value}}})), ldapSuccess);
    }
    // A lab that is open, with an attribute of entries of its files set.
    std::shared_ptr<Platform> changed(const std::string& value,
                                      const std::vector<std::string>& names = {"OU=a,DC=t", "OU=b,DC=t"}) {
        auto platform = openLab(folder_).value();
        for (const auto& name : names) change(*platform, name, value);
        return platform;
    }
    std::string failure(Platform& platform) {
        const auto saved = platform.save();
        return saved ? "" : failureText(saved.error());
    }
    // Nothing changed, and nothing was left behind.
    void expectUntouched() {
        for (const char* name : {"a.ldif", "b.ldif"})
            EXPECT_EQ(content(name), wstest::fileText(original / name));
        EXPECT_EQ(files(), 3);
    }

    wstest::TempFolder temporary_;
    const fs::path& folder_ = temporary_.path();
};

TEST_F(Saving, OfTwoAtOnceTheSecondIsRefused) {
    const auto first = changed("one"), second = changed("two");
    EXPECT_EQ(failure(*first), "");
    EXPECT_EQ(failure(*first), "");  // its own files are no surprise to it
    const std::string after = content("a.ldif");
    EXPECT_EQ(failure(*second),
              "a.ldif was changed by somebody else since it was read, and nothing is saved");
    EXPECT_EQ(content("a.ldif"), after);
    EXPECT_EQ(failure(*changed("three", {"CN=two,OU=b,DC=t"})), "");

    const auto registry = openLab(folder_).value();
    EXPECT_TRUE(registry->registry->write(L"HKLM\\A", L"x", std::wstring(L"y")));
    temporary_.write("machine.toml", content("machine.toml") + "# by hand\n");
    EXPECT_TRUE(failure(*registry).starts_with("machine.toml was changed"));
}

// Whoever reports success is found in the file.
TEST_F(Saving, ManyAtOnceLoseNothingThatWasReported) {
    temporary_.write("a.ldif", "dn: OU=a,DC=t\nobjectClass: organizationalUnit\n");
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

TEST_F(Saving, WaitsForAnotherProcessNoLongerThanItIsTold) {
    const CORE::FolderLock lock(folder_);
    std::wstring refused;
    std::jthread([&] {  // which holds nothing yet
        try {
            const CORE::FolderLock other(folder_, {});
        } catch (const CORE::coreException& error) {
            refused = error.text();
        }
    })
        .join();
    EXPECT_EQ(refused, L"Another process is saving in " + folder_.wstring());
}

TEST_F(Saving, KeepsModeAndLinks) {
    fs::permissions(folder_ / "a.ldif",
                    fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    const auto before = fs::status(folder_ / "a.ldif").permissions();
    EXPECT_EQ(failure(*changed("x")), "");
    EXPECT_EQ(fs::status(folder_ / "a.ldif").permissions(), before);
    EXPECT_NE(content("a.ldif").find("url: x"), std::string::npos);
    EXPECT_EQ(files(), 3);
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
    change(*platform, "OU=b,DC=t", std::string(5000, 'x'));
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
    foldersLeft = 0;
    const std::string first = failure(*platform);
    EXPECT_TRUE(first.ends_with("a.ldif: Input/output error")) << first;
    EXPECT_NE(content("a.ldif").find("url: x"), std::string::npos);
    EXPECT_EQ(content("b.ldif"), wstest::fileText(original / "b.ldif"));
    foldersLeft = 1;
    const std::string second = failure(*platform);
    EXPECT_TRUE(second.ends_with("b.ldif: Input/output error; saved before that: a.ldif")) << second;
    EXPECT_NE(content("b.ldif").find("url: x"), std::string::npos);
    foldersLeft = INT_MAX;
    EXPECT_EQ(failure(*platform), "");
}
#endif

TEST_F(Saving, ALabThatIsNotSavedSaysWhatIsNotKept) {
    const wstest::LogCapture log(CORE::logWarning);
    const auto platform = openLab(folder_, Changes::dropped).value();
    EXPECT_TRUE(platform->save());
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(failureText(platform->files->write(L"C:\\absent", "x").error()),
              "The system cannot find the file specified.");
    change(*platform, "OU=b,DC=t", "x");
    EXPECT_TRUE(platform->registry->write(L"HKLM\\A", L"x", std::wstring(L"y")));
    EXPECT_TRUE(platform->save());
    EXPECT_EQ(log.lines(),
              (std::vector<wstest::LogLine>{
                  {CORE::logWarning,
                   L"What changed in b.ldif, machine.toml is not kept: nothing was to be saved"}}));
    expectUntouched();
}

}  // namespace
}  // namespace wsadmin::platform::lab
