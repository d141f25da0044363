#include "windows/stand_ins/started_process.h"
// After windows.h:
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <thread>

#include "framework/core/corestring.h"
#include "platform/windows/handles.h"
#include "platform/windows/windows_machine.h"
#include "support/temp_folder.h"

namespace wsadmin::platform::windows {
namespace {

namespace fs = std::filesystem;
using test::started;

// The netsh of the tests stands beside this program, and is found before the system's.
class Commands : public testing::Test {
  protected:
    Commands() {
        started = {};
        std::wstring value(32767, L'\0');
        const auto size = static_cast<DWORD>(value.size());
        const auto program = value.substr(0, GetModuleFileNameW(nullptr, value.data(), size));
        const auto path = value.substr(0, GetEnvironmentVariableW(L"PATH", value.data(), size));
        SetEnvironmentVariableW(L"PATH", (fs::path(program).parent_path().wstring() + L";" + path).c_str());
        SetEnvironmentVariableW(L"WS_TEST_LINES", lines_.c_str());
    }
    ~Commands() override { fs::remove(lines_); }
    // What netsh has noted since the last question.
    std::string ran() {
        const std::string noted = wstest::fileText(lines_);
        fs::remove(lines_);
        std::wstring text(noted.size() / sizeof(wchar_t), L'\0');
        std::memcpy(text.data(), noted.data(), noted.size());
        return CORE::toUtf8(text);
    }
    static Result<int> run(std::string_view line, const CORE::coreevent* stop = nullptr) {
        return makeCommandInterpreter()->run(CORE::secretstring(line), stop);
    }

  private:
    fs::path lines_ = fs::temp_directory_path() / "ws_test_lines";
};

TEST_F(Commands, ReachNetshAsTheyAre) {
    const struct {
        std::string line;
        int status;
        std::vector<std::string> ran;
    } rows[] = {
        {R"-(netsh add rule name="a  b (x-in)" auth1psk="p&w|<>^%x" x=2)-", 0, {}},
        {R"(netsh auth1psk="abc"def" mmsecmethods=x)", 0, {}},
        {"netsh name=\"J\u00f6rg\" '1' 7", 7, {}},
        {R"(netsh "a & b" 3 & netsh "c" 5)", 5, {R"(netsh "a & b" 3 )", R"(netsh "c" 5)"}},
        {"netsh 5 & netsh 0", 0, {"netsh 5 ", "netsh 0"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        std::string expected;
        for (const std::string& line : row.ran.empty() ? std::vector{row.line} : row.ran)
            expected += "C:\\windows> " + line + "\n";
        const auto status = run(row.line);
        ASSERT_TRUE(status) << status.error().code;
        EXPECT_EQ(*status, row.status);
        EXPECT_EQ(CORE::toUtf8(started.commandLine), "CMD /C " + row.line);
        EXPECT_EQ(CORE::compareFolded(started.program, L"C:\\windows\\system32\\cmd.exe"), 0);
        EXPECT_EQ(ran(), expected);
        EXPECT_TRUE(started.open.empty());
    }
}

TEST_F(Commands, ThatCannotBeStartedTellTheRuntimesErrorNumber) {
    const struct {
        std::string line;
        DWORD failure;
        int number;
    } rows[] = {
        {std::string("netsh 0\0 1", 10), ERROR_SUCCESS, EINVAL},
        {"netsh 0\n1", ERROR_SUCCESS, EINVAL},
        {"netsh " + std::string(8192, 'x'), ERROR_SUCCESS, EINVAL},
        {"netsh", ERROR_FILE_NOT_FOUND, ENOENT},
        {"netsh", ERROR_ACCESS_DENIED, EACCES},
        {"netsh", ERROR_NOT_ENOUGH_MEMORY, ENOMEM},
        {"netsh", ERROR_BAD_EXE_FORMAT, EINVAL},
    };
    for (const auto& row : rows) {
        started.failure = row.failure;
        const auto status = run(row.line);
        ASSERT_FALSE(status) << row.number;
        EXPECT_EQ(status.error().code, row.number);
        EXPECT_FALSE(status.error().text.empty()) << row.number;
        EXPECT_EQ(ran(), "") << row.number;
    }
}

TEST_F(Commands, RunOnWhenTheServiceStops) {
    const auto event = [](const wchar_t* name) {
        return UniqueHandle(CreateEventW(nullptr, FALSE, FALSE, name));
    };
    const UniqueHandle begun = event(L"ws_test_started"), go = event(L"ws_test_go"),
                       done = event(L"ws_test_done");
    constexpr DWORD longest = 60'000;  // milliseconds
    CORE::coreevent stop;
    std::thread stopper([&] {
        WaitForSingleObject(begun.get(), longest);
        stop.set();
    });
    const auto status = run("netsh wait & netsh wait", &stop);
    stopper.join();
    ASSERT_FALSE(status);
    EXPECT_EQ(status.error().code, ECANCELED);
    EXPECT_TRUE(started.open.empty());
    EXPECT_EQ(ran(), "");
    for (const char* const command : {"netsh wait ", "netsh wait"}) {
        SetEvent(go.get());
        ASSERT_EQ(WaitForSingleObject(done.get(), longest), WAIT_OBJECT_0);
        EXPECT_EQ(ran(), "C:\\windows> " + std::string(command) + "\n");
    }
}

}  // namespace
}  // namespace wsadmin::platform::windows
