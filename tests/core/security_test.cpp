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
    void SetUp() override { security().setKeyFile(keyFile().wstring()); }
    void TearDown() override { security().setKeyFile(L""); }

    static SecurityManager& security() { return SecurityManager::System(); }
    std::filesystem::path keyFile(const char* name = "keys") const {
        return folder_.path() / name / "host.key";
    }

    TempFolder folder_;
};

TEST_F(Security, ReturnsWhatWasEncrypted) {
    const std::string rows[] = {
        "", "p", "password", "p\xc3\xa4ssw\xc3\xb6rd", std::string("a\0b", 3), std::string(1 << 20, 'x')};
    std::set<std::wstring> texts;
    for (const std::string& plain : rows) {
        for (int i = 0; i < 2; ++i) {
            const CORE::wstr text = security().Encrypt(plain);
            EXPECT_EQ(text.left(3), L"{1}");
            EXPECT_TRUE(texts.insert(text.str()).second) << "the same text never comes twice";
            EXPECT_EQ(security().Decrypt(text).str(), plain);
        }
    }
}

TEST_F(Security, DetectsEveryChangedCharacter) {
    const std::wstring text = security().Encrypt("secret7").str();
    for (std::size_t i = 0; i < text.size(); ++i) {
        // The neighbours in the alphabet too: they may differ only in bits that nothing decodes.
        for (const wchar_t other : {static_cast<wchar_t>(text[i] ^ 1), static_cast<wchar_t>(text[i] + 1),
                                    L'A', L'=', L' ', L'\n', L'\x20ac', L'\0'}) {
            if (other == text[i]) continue;
            std::wstring changed = text;
            changed[i] = other;
            const LogCapture log;
            EXPECT_TRUE(security().Decrypt(changed).empty()) << i << " " << static_cast<int>(other);
            ASSERT_EQ(log.lines().size(), 1u);
            EXPECT_EQ(log.lines()[0].level, CORE::logError);
            EXPECT_EQ(log.lines()[0].text.find(changed), std::wstring::npos);
        }
    }
}

TEST_F(Security, RefusesWhatItNeverWrote) {
    const std::wstring text = security().Encrypt("secret7").str();
    const std::wstring rows[] = {L"",
                                 L"{1}",
                                 L"{1}AAAA",
                                 L"secret7",
                                 L" " + text,
                                 text + L"\n",
                                 text + L"AAAA",
                                 text.substr(3),
                                 L"{2}" + text.substr(3),
                                 text.substr(0, text.size() - 4),
                                 L"{1}" + text,
                                 text.substr(0, 3) + L"====" + text.substr(7)};
    for (const std::wstring& row : rows) {
        const LogCapture log;
        EXPECT_TRUE(security().Decrypt(row).empty()) << row.size();
        EXPECT_EQ(log.lines().size(), 1u);
    }
    EXPECT_EQ(security().Decrypt(text).str(), "secret7");
}

TEST_F(Security, NeedsTheSameKey) {
    const CORE::wstr text = security().Encrypt("secret7");
    security().setKeyFile(keyFile("other").wstring());
    EXPECT_TRUE(security().Decrypt(text).empty());
    security().setKeyFile(keyFile().wstring());
    EXPECT_EQ(security().Decrypt(text).str(), "secret7") << "the key outlives the process that made it";
}

TEST_F(Security, KeepsTheKeyInAFileOfItsOwners) {
    security().Encrypt("x");
    EXPECT_EQ(std::filesystem::file_size(keyFile()), 32u);
    std::size_t files = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(keyFile().parent_path()))
        ++files;
    EXPECT_EQ(files, 1u) << "no half-made key stays behind";
#if !defined(_WIN32)
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(keyFile()).permissions(), perms::owner_read | perms::owner_write);
    EXPECT_EQ(std::filesystem::status(keyFile().parent_path()).permissions(), perms::owner_all);
#endif
}

#if !defined(_WIN32)
TEST_F(Security, UsesNoKeyThatIsNotItsOwnersAlone) {
    namespace fs = std::filesystem;
    using fs::perms;
    const std::wstring text = security().Encrypt("x").str();
    const auto refused = [&](const fs::path& file) {
        security().setKeyFile(file.wstring());
        const LogCapture log(CORE::logError);
        EXPECT_THROW(security().Encrypt("x"), CORE::coreException);
        EXPECT_TRUE(security().Decrypt(text).empty());
        return log.lines().size() == 1 ? CORE::toUtf8(log.lines()[0].text) : "";
    };
    const std::string start = "An encrypted text cannot be read: ";
    for (const perms others :
         {perms::group_read, perms::others_read, perms::group_write, perms::others_exec}) {
        fs::permissions(keyFile(), perms::owner_read | perms::owner_write | others);
        EXPECT_EQ(refused(keyFile()),
                  start + keyFile().string() + " is not used: others than its owner may use it");
    }
    fs::permissions(keyFile(), perms::owner_read | perms::owner_write);
    const fs::path link = folder_.path() / "link.key";
    fs::create_symlink(keyFile(), link);
    EXPECT_EQ(refused(link), start + link.string() + " is not used: it is a link");
    EXPECT_EQ(refused(folder_.path() / "keys"),
              start + (folder_.path() / "keys").string() + " is not used: it is no file");
    security().setKeyFile(keyFile().wstring());
    EXPECT_EQ(security().Decrypt(text).str(), "x");
    if (chown(keyFile().c_str(), 65534, static_cast<gid_t>(-1)) == 0) {  // the superuser's to do
        EXPECT_EQ(refused(keyFile()), start + keyFile().string() + " is not used: somebody else owns it");
    }
}
#endif

TEST_F(Security, NeverOverwritesAFileThatIsNoKey) {
    for (const std::size_t size : {std::size_t{0}, std::size_t{31}, std::size_t{33}}) {
        const std::string content(size, 'k');
        folder_.write("bad.key", content);
        std::filesystem::permissions(folder_.path() / "bad.key", std::filesystem::perms::owner_all);
        security().setKeyFile((folder_.path() / "bad.key").wstring());
        EXPECT_THROW(security().Encrypt("x"), CORE::coreException) << size;
        const LogCapture log(CORE::logError);
        EXPECT_TRUE(security().Decrypt(L"{1}" + std::wstring(64, L'A')).empty());
        EXPECT_EQ(log.lines().size(), 1u);
        EXPECT_EQ(folder_.read("bad.key"), content);
    }
}

TEST_F(Security, ReportsAPlaceWhereNoKeyCanBe) {
    folder_.write("file", "");
    security().setKeyFile((folder_.path() / "file" / "host.key").wstring());
    EXPECT_THROW(security().Encrypt("x"), CORE::coreException);
}

TEST_F(Security, MakersAtTheSameTimeEndWithOneKey) {
    for (int round = 0; round < 20; ++round) {
        const std::wstring path = keyFile(("round" + std::to_string(round)).c_str()).wstring();
        std::array<CORE::SecretKey, 4> keys{};
        std::vector<std::thread> makers;
        for (auto& key : keys) makers.emplace_back([&] { CORE::readOrMakeKey(path, key); });
        for (auto& maker : makers) maker.join();
        EXPECT_NE(keys[0], CORE::SecretKey{});
        for (const auto& key : keys) EXPECT_EQ(key, keys[0]);
    }
}

TEST(CorePortable, WritesSidsAsThePlatformDoes) {
    const struct {
        std::vector<unsigned char> sid;
        const wchar_t* text;
    } rows[] = {
        {{1, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0}, L"S-1-5-18"},
        {{1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x20, 2, 0, 0}, L"S-1-5-32-544"},
        {{1, 1, 0, 0, 0, 0, 0, 1, 0xff, 0xff, 0xff, 0xff}, L"S-1-1-4294967295"},
        {{1, 0, 0, 0, 0, 0, 0, 5}, L"S-1-5"},
        {{1, 1, 1, 2, 3, 4, 5, 6, 7, 0, 0, 0}, L"S-1-0x010203040506-7"},
        {{2, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0}, L""},
        {{1, 16, 0, 0, 0, 0, 0, 5}, L""},
    };
    for (const auto& row : rows)
        EXPECT_EQ(CORE::coreportable::convertSidToStringSid(row.sid.data()), row.text);
    EXPECT_TRUE(CORE::coreportable::convertSidToStringSid(nullptr).empty());
}

}  // namespace
