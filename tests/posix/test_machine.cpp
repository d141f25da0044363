#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "framework/core/corestring.h"
#include "platform/posix/posix_platform.h"

namespace wsadmin::platform::posix {
namespace {

TEST(PosixMachine, KnowsItsNames) {
    const auto platform = makePlatform();
    const auto name = platform->names->netBios();
    ASSERT_TRUE(name);
    EXPECT_FALSE(name->empty());
    EXPECT_LE(name->size(), 15u);
    EXPECT_EQ(name->find(L'.'), std::wstring::npos);
    EXPECT_TRUE(platform->names->dnsFullyQualified());
}

TEST(PosixMachine, MakesTheUsersFolder) {
    const std::filesystem::path home =
        std::filesystem::temp_directory_path() / ("home-" + std::to_string(getpid()));
    const char* before = std::getenv("XDG_DATA_HOME");
    const std::string saved = before ? before : "";
    setenv("XDG_DATA_HOME", (home / "data").c_str(), 1);
    const auto platform = makePlatform();
    const auto folder = platform->folders->get(Folder::localAppData);
    before ? setenv("XDG_DATA_HOME", saved.c_str(), 1) : unsetenv("XDG_DATA_HOME");
    ASSERT_TRUE(folder);
    EXPECT_EQ(*folder, (home / "data").wstring());
    EXPECT_TRUE(std::filesystem::is_directory(*folder));
    std::filesystem::remove_all(home);

    EXPECT_EQ(platform->folders->get(Folder::commonAppData).value(), L"/var/lib");
    EXPECT_FALSE(platform->folders->windowsDirectory());
}

TEST(PosixMachine, SaysThatAFolderCannotBeMade) {
    const char* before = std::getenv("XDG_DATA_HOME");
    const std::string saved = before ? before : "";
    setenv("XDG_DATA_HOME", "/proc/nowhere/data", 1);
    const auto folder = makePlatform()->folders->get(Folder::localAppData);
    before ? setenv("XDG_DATA_HOME", saved.c_str(), 1) : unsetenv("XDG_DATA_HOME");
    ASSERT_FALSE(folder);
    EXPECT_NE(folder.error().code, 0);
    EXPECT_FALSE(folder.error().text.empty());
}

}  // namespace
}  // namespace wsadmin::platform::posix
