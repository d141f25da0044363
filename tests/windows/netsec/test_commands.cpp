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
#include "support/rows.h"
#include "support/temp_folder.h"

namespace wsadmin::platform::windows {
namespace {

namespace fs = std::filesystem;
using test::started;
using wstest::Json;

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

    // Of a line with so many letters after it, which cannot be started because of the system's error: the
    // status or the error, and what netsh has noted.
    Json answerTo(const Json& in) {
        const std::string line = in["line"].get<std::string>() + std::string(in.value("letters", 0), 'x');
        started.failure = in.value("failure", DWORD{ERROR_SUCCESS});
        const auto status = run(line);
        EXPECT_TRUE(started.open.empty());
        if (!status) {
            EXPECT_FALSE(status.error().text.empty());
            return {"errno " + std::to_string(status.error().code), ran()};
        }
        EXPECT_EQ(CORE::toUtf8(started.commandLine), "CMD /C " + line);
        EXPECT_EQ(CORE::compareFolded(started.program, L"C:\\windows\\system32\\cmd.exe"), 0);
        return {*status, ran()};
    }

  private:
    fs::path lines_ = fs::temp_directory_path() / "ws_test_lines";
};

TEST_F(Commands, ReachNetshAsTheyAreOrTellTheRuntimesErrorNumber) {
    wstest::tryRows(WS_SOURCE_DIR "/tests/windows/netsec/commands.jsonl",
                    {{"run", [this](const Json& in) { return answerTo(in); }}});
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
