#include <gtest/gtest.h>

#include <cstdlib>

#include "adapters/real_platform.h"
#include "framework/core/corestring.h"
#include "support/temp_folder.h"

namespace wsadmin::platform {
namespace {

struct Run {
    std::wstring program, arguments;
    int code;  // that it exits with, or why it cannot be run
    bool runs = true;
};

#if defined(_WIN32)
const std::wstring shell = L"C:\\windows\\system32\\cmd.exe";
constexpr int notFound = 2, invalidParameter = 87;
const Run rows[] = {{shell, L"/C exit 0", 0},
                    {shell, L"/C exit 7", 7},
                    {shell, L"/C \"exit 3\"", 3},
                    {L"C:\\nonexistent.exe", {}, notFound, false},
                    {L"cmd\" /C evil", {}, invalidParameter, false},
                    {shell, std::wstring(L"a\0b", 3), invalidParameter, false},
                    {{}, {}, invalidParameter, false}};
#else
const std::wstring shell = L"/bin/sh";
const Run rows[] = {
    {shell, L"-c \"exit 7\"", 7},
    {L"\\bin\\sh", L"-c \"kill -9 $$\"", 137},
    {shell, L"-c \"test \\\"$1\\\" = 'a b' || exit 4\" sh \"a b\"", 0},
    {shell, L"-c \"cat; ls /proc/self/fd | wc -l | grep -q 4\"", 0},  // no input, and no files of ours
    {L"/nonexistent/program", {}, ENOENT, false},
    {L"/etc/passwd", {}, EACCES, false},
    {shell, std::wstring(L"a\0b", 3), EINVAL, false}};
#endif

TEST(Processes, AnswerTheExitCodeOrSayWhyAProgramCannotBeRun) {
    for (const auto& [program, arguments, code, runs] : rows) {
        const auto run = realPlatform()->processes->run(program, arguments);
        EXPECT_EQ(run.has_value(), runs) << CORE::toUtf8(program + arguments);
        EXPECT_EQ(run ? run->value() : run.error().code, code) << CORE::toUtf8(program + arguments);
        EXPECT_TRUE(run || !run.error().text.empty());
    }
}

TEST(Files, AreMadeWrittenAndFound) {
    const auto files = realPlatform()->files;
    const std::wstring folder = files->temporaryFolder().value();
    EXPECT_TRUE(folder.ends_with(L'\\'));
    const auto one = files->makeTemporary(folder, L"qrv").value();
    const auto other = files->makeTemporary(folder, L"qrv").value();
    EXPECT_NE(one, other);
    EXPECT_TRUE(files->exists(one).value());
    for (const auto& none : {folder, one + L".absent", one + L"\\below"})
        EXPECT_FALSE(files->exists(none).value()) << CORE::toUtf8(none);
    const std::string path = CORE::toUtf8(one);
    EXPECT_TRUE(files->write(one, "first, longer\n"));
    EXPECT_TRUE(files->write(one, "second\n"));
    EXPECT_EQ(wstest::fileText(path), "second\n");
#if !defined(_WIN32)
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(path).permissions(), perms::owner_read | perms::owner_write);
#endif
    EXPECT_FALSE(files->write(one + L".absent", "x"));
    EXPECT_FALSE(files->makeTemporary(folder + L"absent\\", L"qrv"));
    for (const auto& made : {one, other}) std::filesystem::remove(CORE::toUtf8(made));
}

#if !defined(_WIN32)
TEST(PosixMachine, KnowsItsNamesAndMakesTheUsersFolderOrSaysWhyNot) {
    const wstest::TempFolder home;
    const auto platform = realPlatform();
    EXPECT_EQ(platform->names->netBios().value(), CORE::wstr::getComputerName().str());
    EXPECT_TRUE(platform->names->dnsFullyQualified());
    const char* before = std::getenv("XDG_DATA_HOME");
    const std::string saved = before ? before : "";
    setenv("XDG_DATA_HOME", home.utf8("data").c_str(), 1);
    const auto folder = platform->folders->get(Folder::localAppData);
    setenv("XDG_DATA_HOME", "/proc/nowhere/data", 1);
    const auto none = platform->folders->get(Folder::localAppData);
    before ? setenv("XDG_DATA_HOME", saved.c_str(), 1) : unsetenv("XDG_DATA_HOME");
    EXPECT_EQ(folder.value(), CORE::toWide(home.utf8("data")));
    EXPECT_TRUE(std::filesystem::is_directory(*folder));
    EXPECT_TRUE(!none && none.error().code != 0 && !none.error().text.empty());
    EXPECT_EQ(platform->folders->get(Folder::commonAppData).value(), L"/var/lib");
    EXPECT_FALSE(platform->folders->windowsDirectory());
}
#endif

TEST(MachineRegistry, KeepsEveryTypeAndAnswersNothingForWhatIsAbsent) {
    constexpr wchar_t key[] = LR"(HKCU\Software\ws_admin test)",
                      sameKey[] = LR"(hkcu\SOFTWARE\WS_ADMIN TEST\)";
    const auto registry = realPlatform()->registry;
    const auto clear = [&] {
        const auto values = registry->values(key).value();
        for (const auto& value : values) EXPECT_TRUE(registry->remove(key, value.first));
    };
    clear();
    const std::pair<const wchar_t*, RegistryData> rows[] = {
        {L"number", std::uint32_t{0xffffffff}},
        {L"text", std::wstring(L"J\u00f6rg \\ \"x\"")},
        {L"empty text", std::wstring()},
        {L"list", std::vector<std::wstring>{L"a", L"b c"}},
        {L"empty list", std::vector<std::wstring>{}},
        {L"bytes", std::vector<std::uint8_t>{0, 1, 255}},
        {L"no bytes", std::vector<std::uint8_t>{}},
        {L"long", std::wstring(5000, L'x')},
        {L"", std::wstring(L"the key's own")},
    };
    for (const auto& [name, data] : rows) {
        const auto written = registry->write(key, name, data);
        ASSERT_TRUE(written) << CORE::toUtf8(name) << " " << written.error().code;
        EXPECT_EQ(registry->read(sameKey, name).value(), data) << CORE::toUtf8(name);
    }
    const auto values = registry->values(sameKey).value();
    EXPECT_EQ(values.size(), std::size(rows));
    for (const auto& [name, data] : values) EXPECT_EQ(registry->read(key, name).value(), data);
    clear();
    EXPECT_EQ(registry->read(key, L"v").value(), std::nullopt);
    EXPECT_TRUE(registry->remove(key, L"v"));
    EXPECT_TRUE(registry->values(LR"(HKCU\Software\ws_admin absent)").value().empty());
    ASSERT_TRUE(registry->write(key, L"v", std::uint32_t{1}));
    EXPECT_EQ(registry->read(key, L"other").value(), std::nullopt);
    EXPECT_EQ(registry->read(std::wstring(key) + L"\\below", L"v").value(), std::nullopt);
    EXPECT_TRUE(registry->remove(sameKey, L"V"));
    EXPECT_EQ(registry->read(key, L"v").value(), std::nullopt);
}

}  // namespace
}  // namespace wsadmin::platform
