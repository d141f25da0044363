#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "framework/core/corestring.h"
#include "platform/posix/posix_platform.h"
#include "support/temp_folder.h"

namespace wsadmin::platform::posix {
namespace {

TEST(PosixMachine, KnowsItsNamesAndMakesTheUsersFolderOrSaysWhyNot) {
    const wstest::TempFolder home;
    const auto platform = makePlatform();
    EXPECT_EQ(platform->names->netBios().value(), CORE::wstr::getComputerName().str());
    EXPECT_TRUE(platform->names->dnsFullyQualified());
    const auto& folders = platform->folders;
    const char* before = std::getenv("XDG_DATA_HOME");
    const std::string saved = before ? before : "";
    setenv("XDG_DATA_HOME", home.utf8("data").c_str(), 1);
    const auto folder = folders->get(Folder::localAppData);
    setenv("XDG_DATA_HOME", "/proc/nowhere/data", 1);
    const auto none = folders->get(Folder::localAppData);
    before ? setenv("XDG_DATA_HOME", saved.c_str(), 1) : unsetenv("XDG_DATA_HOME");
    ASSERT_TRUE(folder);
    EXPECT_EQ(*folder, CORE::toWide(home.utf8("data")));
    EXPECT_TRUE(std::filesystem::is_directory(*folder));
    ASSERT_FALSE(none);
    EXPECT_NE(none.error().code, 0);
    EXPECT_FALSE(none.error().text.empty());

    EXPECT_EQ(folders->get(Folder::commonAppData).value(), L"/var/lib");
    EXPECT_FALSE(folders->windowsDirectory());
}

}  // namespace
}  // namespace wsadmin::platform::posix
