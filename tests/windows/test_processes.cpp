#include <windows.h>

#include <gtest/gtest.h>

#include <thread>

#include "framework/core/corestring.h"
#include "platform/windows/windows_machine.h"

namespace wsadmin::platform::windows {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

ProcessRequest command(std::wstring script) {
    return {L"cmd", {L"/C", std::move(script)}, {}, seconds(60), nullptr};
}

std::wstring showArguments() {
    return CORE::toWide(WS_BIN_DIR "/show_arguments.exe");
}

TEST(Processes, GiveExitCodeAndOutput) {
    const auto processes = makeProcesses();
    const struct {
        const wchar_t* script;
        int exitCode;
        const char* output;
    } rows[] = {
        {L"exit 0", 0, ""},
        {L"exit 7", 7, ""},
        {L"echo out& echo err>&2", 0, "out\r\nerr\r\n"},
        {L"cd", 0, "C:\\windows\r\n"},
    };
    for (const auto& row : rows) {
        auto request = command(row.script);
        request.workingDirectory = L"C:\\windows";
        const auto outcome = processes->run(request);
        ASSERT_TRUE(outcome) << CORE::toUtf8(outcome.error().text);
        EXPECT_EQ(outcome->exitCode, row.exitCode) << CORE::toUtf8(row.script);
        EXPECT_EQ(outcome->output, row.output) << CORE::toUtf8(row.script);
        EXPECT_FALSE(outcome->timedOut || outcome->stopped);
    }
}

TEST(Processes, PassArgumentsUntouched) {
    const std::vector<std::wstring> arguments = {
        L"a b",   L"\"",        L"\"q\"",     L"a\"b c\"d",  L"\\", L"\\\\",   L"a\\",
        L"a b\\", L"a b\\\\",   L"\\\"",      L"a\\\\\"b",   L"",   L"%PATH%", L"a&b|c>d<e^f",
        L"'",     L"J\u00f6rg", L"tab\there", L"line\nfeed", L"*",  L"/x",     L"-n"};
    std::wstring expected;
    for (const auto& argument : arguments) expected += L'[' + argument + L']';
    auto passed = arguments;
    passed.insert(passed.begin(), L"1");
    const auto outcome = makeProcesses()->run({showArguments(), passed, {}, seconds(60), nullptr});
    ASSERT_TRUE(outcome) << CORE::toUtf8(outcome.error().text);
    EXPECT_EQ(outcome->exitCode, 0);
    EXPECT_EQ(outcome->output, CORE::toUtf8(expected));
}

TEST(Processes, TakeMuchOutput) {
    const auto outcome =
        makeProcesses()->run({showArguments(), {L"1000", std::wstring(998, L'x')}, {}, seconds(60), nullptr});
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->output.size(), 1'000'000u);  // more than the pipe holds
}

TEST(Processes, EndTheProgramWhenTimeIsUpOrTheSystemStops) {
    CORE::coreevent stop;
    stop.set();
    for (const bool stopping : {false, true}) {
        const auto begin = steady_clock::now();
        ProcessRequest request{L"ping", {L"-n", L"300", L"127.0.0.1"}, {}, {}, nullptr};
        request.timeout = stopping ? milliseconds(0) : milliseconds(100);
        request.stop = stopping ? &stop : nullptr;
        const auto outcome = makeProcesses()->run(request);
        ASSERT_TRUE(outcome) << outcome.error().code;
        EXPECT_EQ(outcome->timedOut, !stopping);
        EXPECT_EQ(outcome->stopped, stopping);
        EXPECT_NE(outcome->exitCode, 0);
        EXPECT_LT(steady_clock::now() - begin, seconds(60));
    }
}

TEST(Processes, SayWhyAProgramCannotBeRun) {
    const struct {
        ProcessRequest request;
        DWORD code;
    } rows[] = {
        {{L"C:\\nonexistent.exe", {}, {}, {}, nullptr}, ERROR_FILE_NOT_FOUND},
        {{L"nonexistent-program", {}, {}, {}, nullptr}, ERROR_FILE_NOT_FOUND},
        {{L"C:\\tools\\list.CMD", {L"a"}, {}, {}, nullptr}, ERROR_BAD_EXE_FORMAT},
        {{L"list.bat. ", {L"a"}, {}, {}, nullptr}, ERROR_BAD_EXE_FORMAT},
        {{L"cmd\" /C evil", {}, {}, {}, nullptr}, ERROR_INVALID_PARAMETER},
        {{L"cmd", {std::wstring(L"a\0b", 3)}, {}, {}, nullptr}, ERROR_INVALID_PARAMETER},
        {{L"", {}, {}, {}, nullptr}, ERROR_INVALID_PARAMETER},
    };
    for (const auto& row : rows) {
        const auto outcome = makeProcesses()->run(row.request);
        ASSERT_FALSE(outcome) << CORE::toUtf8(row.request.program);
        EXPECT_EQ(outcome.error().code, static_cast<int>(row.code)) << CORE::toUtf8(row.request.program);
        EXPECT_FALSE(outcome.error().text.empty());
    }
}

TEST(Processes, RunSideBySide) {
    const auto processes = makeProcesses();
    std::vector<std::jthread> threads;
    for (int i = 0; i < 6; ++i) {
        threads.emplace_back([&, i] {
            const auto outcome =
                processes->run(command(L"echo " + std::to_wstring(i) + L"& exit " + std::to_wstring(i)));
            ASSERT_TRUE(outcome);
            EXPECT_EQ(outcome->exitCode, i);
            EXPECT_EQ(outcome->output, std::to_string(i) + "\r\n");
        });
    }
}

}  // namespace
}  // namespace wsadmin::platform::windows
