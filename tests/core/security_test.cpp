#include "framework/core/security.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <set>
#include <thread>
#include <vector>

#include "framework/core/coreexception.h"
#include "framework/core/key_file.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"

#if !defined(_WIN32)
#include <unistd.h>
#endif

namespace {

using namespace wstest;
using CORE::SecurityManager;

class Security : public testing::Test {
  protected:
    void SetUp() override { useKey("keys/host.key"); }
    void TearDown() override { security().setKeyFile(L""); }

    static SecurityManager& security() { return SecurityManager::System(); }
    void useKey(const char* name) { security().setKeyFile((folder_.path() / name).wstring()); }
    // Decrypting gives nothing but one error line without the text.
    static void expectRefused(const std::wstring& text) {
        const LogCapture log;
        EXPECT_TRUE(security().Decrypt(text).empty()) << CORE::toUtf8(text);
        ASSERT_EQ(log.lines().size(), 1u);
        EXPECT_EQ(log.lines()[0].level, CORE::logError);
        EXPECT_TRUE(text.empty() || log.lines()[0].text.find(text) == std::wstring::npos);
    }

    TempFolder folder_;
};

TEST_F(Security, ReturnsWhatWasEncrypted) {
    const std::string rows[] = {
        "", "p", "password", "p\xc3\xa4ssw\xc3\xb6rd", std::string("a\0b", 3), std::string(1 << 20, 'x')};
    std::set<std::wstring> texts;
    for (const std::string& plain : rows)
        for (int i = 0; i < 2; ++i) {
            const CORE::wstr text = security().Encrypt(plain);
            EXPECT_EQ(text.left(3), L"{1}");
            EXPECT_TRUE(texts.insert(text.str()).second) << "the same text never comes twice";
            EXPECT_EQ(security().Decrypt(text).str(), plain);
        }
}

TEST_F(Security, DetectsEveryChangedCharacter) {
    const std::wstring text = security().Encrypt("secret7").str();
    for (std::size_t i = 0; i < text.size(); ++i)
        // The neighbours in the alphabet too: they may differ only in bits that nothing decodes.
        for (const wchar_t other : {static_cast<wchar_t>(text[i] ^ 1), static_cast<wchar_t>(text[i] + 1),
                                    L'A', L'=', L' ', L'\n', L'\x20ac', L'\0'}) {
            std::wstring changed = text;
            changed[i] = other;
            if (changed != text) expectRefused(changed);
        }
}

TEST_F(Security, RefusesWhatItNeverWrote) {
    const std::wstring text = security().Encrypt("secret7").str(), sealed = text.substr(3);
    for (const std::wstring& row :
         {std::wstring(), std::wstring(L"{1}"), std::wstring(L"{1}AAAA"), std::wstring(L"secret7"),
          L" " + text, text + L"\n", text + L"AAAA", sealed, L"{2}" + sealed, text.substr(0, text.size() - 4),
          L"{1}" + text, L"{1}====" + text.substr(7)})
        expectRefused(row);
    EXPECT_EQ(security().Decrypt(text).str(), "secret7");
}

TEST_F(Security, NeedsTheSameKey) {
    const CORE::wstr text = security().Encrypt("secret7");
    useKey("other/host.key");
    expectRefused(text.str());
    useKey("keys/host.key");
    EXPECT_EQ(security().Decrypt(text).str(), "secret7") << "the key outlives the process that made it";
}

TEST_F(Security, KeepsTheKeyInAFileOfItsOwners) {
    security().Encrypt("x");
    namespace fs = std::filesystem;
    const fs::path file = folder_.path() / "keys" / "host.key";
    EXPECT_EQ(fs::file_size(file), 32u);
    const auto files = std::distance(fs::directory_iterator(file.parent_path()), fs::directory_iterator());
    EXPECT_EQ(files, 1) << "no half-made key stays behind";
#if !defined(_WIN32)
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(fs::status(file.parent_path()).permissions(), fs::perms::owner_all);
#endif
}

#if !defined(_WIN32)
TEST_F(Security, UsesNoKeyThatIsNotItsOwnersAlone) {
    namespace fs = std::filesystem;
    using fs::perms;
    const std::wstring text = security().Encrypt("x").str();
    const fs::path file = folder_.path() / "keys" / "host.key", link = folder_.path() / "link.key";
    const auto expectUnused = [&](const fs::path& path, const std::string& why) {
        security().setKeyFile(path.wstring());
        const LogCapture log(CORE::logError);
        EXPECT_THROW(security().Encrypt("x"), CORE::coreException) << why;
        EXPECT_TRUE(security().Decrypt(text).empty()) << why;
        ASSERT_EQ(log.lines().size(), 1u);
        EXPECT_EQ(CORE::toUtf8(log.lines()[0].text),
                  "An encrypted text cannot be read: " + path.string() + " is not used: " + why);
    };
    for (const perms others :
         {perms::group_read, perms::others_read, perms::group_write, perms::others_exec}) {
        fs::permissions(file, perms::owner_read | perms::owner_write | others);
        expectUnused(file, "others than its owner may use it");
    }
    fs::permissions(file, perms::owner_read | perms::owner_write);
    fs::create_symlink(file, link);
    expectUnused(link, "it is a link");
    expectUnused(folder_.path() / "keys", "it is no file");
    useKey("keys/host.key");
    EXPECT_EQ(security().Decrypt(text).str(), "x");
    if (chown(file.c_str(), 65534, static_cast<gid_t>(-1)) == 0)  // the superuser's to do
        expectUnused(file, "somebody else owns it");
}

TEST_F(Security, MakesNoKeyInAFolderThatIsNotItsOwnersAlone) {
    namespace fs = std::filesystem;
    using fs::perms;
    const fs::path own = folder_.path() / "keys", link = folder_.path() / "link";
    fs::create_directory(own);
    fs::create_symlink(own, link);
    folder_.write("file", "");
    const struct {
        fs::path folder;
        perms mode;
        std::string why;
    } rows[] = {
        {own, perms::owner_all | perms::group_read, "others than its owner may use it"},
        {own, perms::owner_all | perms::others_write, "others than its owner may use it"},
        {link, perms::owner_all, "it is a link"},
        {folder_.path() / "file", perms::owner_all, "it is no folder"},
        {own, perms::owner_all, ""},
    };
    for (const auto& [folder, mode, why] : rows) {
        fs::permissions(folder, mode);
        security().setKeyFile((folder / "host.key").wstring());
        std::string said;
        try {
            security().Encrypt("x");
        } catch (const CORE::coreException& error) {
            said = CORE::toUtf8(error.text());
        }
        EXPECT_EQ(said, why.empty() ? "" : folder.string() + " is not used: " + why);
        EXPECT_EQ(fs::exists(own / "host.key"), why.empty()) << why;
    }
}
#endif

TEST_F(Security, NeverOverwritesAFileThatIsNoKey) {
    for (const std::size_t size : {0U, 31U, 33U}) {
        const std::string content(size, 'k');
        folder_.write("bad.key", content);
        std::filesystem::permissions(folder_.path() / "bad.key", std::filesystem::perms::owner_all);
        useKey("bad.key");
        EXPECT_THROW(security().Encrypt("x"), CORE::coreException) << size;
        expectRefused(L"{1}" + std::wstring(64, L'A'));
        EXPECT_EQ(folder_.read("bad.key"), content);
    }
    useKey("bad.key/host.key");  // below a file there is no place for a key
    EXPECT_THROW(security().Encrypt("x"), CORE::coreException);
}

TEST_F(Security, MakersAtTheSameTimeEndWithOneKey) {
    for (int round = 0; round < 20; ++round) {
        const std::wstring path = (folder_.path() / std::to_string(round) / "host.key").wstring();
        std::array<CORE::SecretKey, 4> keys{};
        std::vector<std::thread> makers;
        for (auto& key : keys) makers.emplace_back([&] { CORE::readOrMakeKey(path, key); });
        for (auto& maker : makers) maker.join();
        EXPECT_NE(keys[0], CORE::SecretKey{});
        for (const auto& key : keys) EXPECT_EQ(key, keys[0]);
    }
}

}  // namespace
