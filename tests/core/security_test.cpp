#include "framework/core/security.h"

#include <array>
#include <set>
#include <thread>

#include "framework/core/coreexception.h"
#include "framework/core/key_file.h"
#include "support/log_capture.h"
#include "support/rows.h"
#include "support/temp_folder.h"

#if !defined(_WIN32)
#include <unistd.h>
#endif

namespace {

using namespace wstest;
using CORE::SecurityManager;
namespace fs = std::filesystem;

class Security : public testing::Test {
  protected:
    void SetUp() override { useKey("keys/host.key"); }
    void TearDown() override { security().setKeyFile(L""); }

    static SecurityManager& security() { return SecurityManager::System(); }
    void useKey(const char* name) { security().setKeyFile((folder_.path() / name).wstring()); }
    // Decrypting gives nothing but one error line without the text.
    static std::string refused(const std::wstring& text) {
        const LogCapture log;
        EXPECT_TRUE(security().Decrypt(text).empty()) << CORE::toUtf8(text);
        const auto lines = log.lines();
        EXPECT_TRUE(lines.size() == 1 && lines[0].level == CORE::logError);
        EXPECT_TRUE(text.empty() || lines.at(0).text.find(text) == std::wstring::npos);
        return CORE::toUtf8(lines.at(0).text);
    }
    // A text that was encrypted with the file's key, or why it is none.
    static std::string encrypted(const fs::path& file) {
        security().setKeyFile(file.wstring());
        try {
            return CORE::toUtf8(security().Encrypt("x"));
        } catch (const CORE::coreException& error) {
            return CORE::toUtf8(error.text());
        }
    }

    TempFolder folder_;
};

TEST_F(Security, ReturnsWhatWasEncrypted) {
    std::set<std::wstring> texts;
    const LogCapture log(CORE::logError);
    for (const std::string& plain : {std::string(), std::string("p\xc3\xa4ssw\xc3\xb6rd"),
                                     std::string("a\0b", 3), std::string(1 << 20, 'x')})
        for (int i = 0; i < 2; ++i) {
            const CORE::wstr text = security().Encrypt(plain);
            EXPECT_EQ(text.left(3), L"{1}");
            EXPECT_TRUE(texts.insert(text.str()).second) << "the same text never comes twice";
            EXPECT_EQ(security().Decrypt(text).str(), plain);
        }
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Security, RefusesWhatItNeverWroteAndEveryChangedCharacter) {
    const std::wstring text = security().Encrypt("secret7").str(), sealed = text.substr(3);
    for (const std::wstring& row :
         {std::wstring(), std::wstring(L"{1}"), std::wstring(L"{1}AAAA"), std::wstring(L"secret7"),
          L" " + text, text + L"\n", text + L"AAAA", sealed, L"{2}" + sealed, text.substr(0, text.size() - 4),
          L"{1}" + text, L"{1}====" + text.substr(7)})
        refused(row);
    for (std::size_t i = 0; i < text.size(); ++i)
        // The neighbours in the alphabet too: they may differ only in bits that nothing decodes.
        for (const wchar_t other : {static_cast<wchar_t>(text[i] ^ 1), static_cast<wchar_t>(text[i] + 1),
                                    L'A', L'=', L' ', L'\n', L'\x20ac', L'\0'}) {
            std::wstring changed = text;
            changed[i] = other;
            if (changed != text) refused(changed);
        }
}

TEST_F(Security, KeepsTheKeyInAFileOfItsOwners) {
    const CORE::wstr text = security().Encrypt("secret7");
    useKey("other/host.key");
    refused(text.str());
    useKey("keys/host.key");
    EXPECT_EQ(security().Decrypt(text).str(), "secret7") << "the key outlives the process that made it";
    const fs::path file = folder_.path() / "keys" / "host.key";
    EXPECT_EQ(fs::file_size(file), 32u);
    EXPECT_EQ(std::distance(fs::directory_iterator(file.parent_path()), {}), 1)
        << "no half-made key stays behind";
#if !defined(_WIN32)
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(fs::status(file.parent_path()).permissions(), fs::perms::owner_all);
#endif
}

#if !defined(_WIN32)
TEST_F(Security, UsesNoKeyAndMakesNoneWhereItIsNotItsOwnersAlone) {
    const std::wstring text = security().Encrypt("x").str();
    const fs::path key = folder_.path() / "keys" / "host.key", fresh = folder_.path() / "keys" / "new.key";
    fs::create_symlink(key, folder_.path() / "link.key");
    fs::create_symlink(key.parent_path(), folder_.path() / "link");
    folder_.write("file", "");
    const auto used = [&](const Json& in) {
        const auto mode = std::stoi(in[1].get<std::string>(), nullptr, 8);
        fs::permissions(folder_.path() / in[0].get<std::string>(), static_cast<fs::perms>(mode));
        const std::string file = in[2], said = encrypted(folder_.path() / file);
        if (!file.ends_with("new.key")) {
            EXPECT_EQ(refused(text), "An encrypted text cannot be read: " + said);
        }
        EXPECT_FALSE(fs::exists(fresh)) << said;
        EXPECT_TRUE(said.starts_with(folder_.utf8(""))) << said;
        return said.substr(folder_.utf8("").size());
    };
    tryRows(WS_SOURCE_DIR "/tests/core/keys.jsonl", {{"used", used}});
    EXPECT_TRUE(encrypted(fresh).starts_with("{1}"));
    useKey("keys/host.key");
    EXPECT_EQ(security().Decrypt(text).str(), "x");
    if (chown(key.c_str(), 65534, static_cast<gid_t>(-1)) == 0) {  // the superuser's to do
        EXPECT_EQ(encrypted(key), key.string() + " is not used: somebody else owns it");
    }
}
#endif

TEST_F(Security, NeverOverwritesAFileThatIsNoKey) {
    for (const std::size_t size : {0U, 31U, 33U}) {
        const std::string content(size, 'k');
        folder_.write("bad.key", content);
        fs::permissions(folder_.path() / "bad.key", fs::perms::owner_all);
        useKey("bad.key");
        EXPECT_THROW(security().Encrypt("x"), CORE::coreException) << size;
        refused(L"{1}" + std::wstring(64, L'A'));
        EXPECT_EQ(folder_.read("bad.key"), content);
    }
    useKey("bad.key/host.key");  // below a file there is no place for a key
    EXPECT_THROW(security().Encrypt("x"), CORE::coreException);
}

TEST_F(Security, MakersAtTheSameTimeEndWithOneKey) {
    for (int round = 0; round < 20; ++round) {
        const std::wstring path = (folder_.path() / std::to_string(round) / "host.key").wstring();
        std::array<CORE::SecretKey, 4> keys{};
        std::vector<std::jthread> makers;
        for (auto& key : keys) makers.emplace_back([&] { CORE::readOrMakeKey(path, key); });
        makers.clear();
        EXPECT_NE(keys[0], CORE::SecretKey{});
        for (const auto& key : keys) EXPECT_EQ(key, keys[0]);
    }
}

}  // namespace
