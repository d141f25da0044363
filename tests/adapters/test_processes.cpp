#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "adapters/real_platform.h"
#include "framework/core/corestring.h"

namespace wsadmin::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

Result<ProcessOutcome> run(const ProcessRequest& request) {
    return realPlatform()->processes->run(request);
}

struct Script {
    std::wstring text;
    int exitCode;
    std::string output;
};
struct Unrunnable {
    ProcessRequest request;
    int code;
};

#if defined(_WIN32)
const std::wstring workingDirectory = L"C:\\windows", lineEnd = L"\r\n";
const std::vector<std::wstring> shell = {L"cmd", L"/C"};
constexpr int exitCodeOfEnded = 1;
const ProcessRequest longProgram = {L"ping", {L"-n", L"300", L"127.0.0.1"}, {}, {}, nullptr};
const Script scripts[] = {
    {L"exit 0", 0, ""},
    {L"exit 7", 7, ""},
    {L"echo out& echo err>&2", 0, "out\r\nerr\r\n"},
    {L"cd", 0, "C:\\windows\r\n"},
};
// A program that shows its arguments but the first, as often as that says.
ProcessRequest show(std::vector<std::wstring> arguments, int times) {
    arguments.insert(arguments.begin(), std::to_wstring(times));
    return {CORE::toWide(WS_BIN_DIR "/show_arguments.exe"), arguments, {}, seconds(60), nullptr};
}
constexpr int notFound = 2, noProgram = 193, invalidParameter = 87;
const Unrunnable unrunnable[] = {
    {{L"C:\\nonexistent.exe", {}, {}, {}, nullptr}, notFound},
    {{L"nonexistent-program", {}, {}, {}, nullptr}, notFound},
    {{L"C:\\tools\\list.CMD", {L"a"}, {}, {}, nullptr}, noProgram},
    {{L"list.bat. ", {L"a"}, {}, {}, nullptr}, noProgram},
    {{L"cmd\" /C evil", {}, {}, {}, nullptr}, invalidParameter},
    {{L"cmd", {std::wstring(L"a\0b", 3)}, {}, {}, nullptr}, invalidParameter},
    {{L"", {}, {}, {}, nullptr}, invalidParameter},
};
#else
const std::wstring workingDirectory = L"/", lineEnd = L"\n";
const std::vector<std::wstring> shell = {L"sh", L"-c"};
constexpr int exitCodeOfEnded = 128 + SIGTERM;
const ProcessRequest longProgram = {L"sleep", {L"300"}, {}, {}, nullptr};
const Script scripts[] = {
    {L"exit 0", 0, ""},
    {L"echo out; echo err >&2; exit 7", 7, "out\nerr\n"},
    {L"printf 'a\\000b'; exit 255", 255, std::string("a\0b", 3)},
    {L"kill -9 $$", 137, ""},
    {L"cat; pwd", 0, "/\n"},                  // no input to wait for
    {L"ls /proc/self/fd | wc -l", 0, "4\n"},  // standard streams, and the folder that ls reads
};
ProcessRequest show(std::vector<std::wstring> arguments, int times) {
    const std::wstring script =
        L"for time in $(seq " + std::to_wstring(times) + L"); do printf '[%s]' \"$@\"; done";
    arguments.insert(arguments.begin(), {L"-c", script, L"sh"});
    return {L"sh", arguments, {}, seconds(60), nullptr};
}
const Unrunnable unrunnable[] = {
    {{L"/nonexistent/program", {}, {}, {}, nullptr}, ENOENT},
    {{L"/etc/passwd", {}, {}, {}, nullptr}, EACCES},
    {{L"true", {}, L"/nonexistent", {}, nullptr}, ENOENT},
    {{L"true", {std::wstring(L"a\0b", 3)}, {}, {}, nullptr}, EINVAL},
};
#endif

ProcessRequest scripted(const std::wstring& script) {
    return {shell[0], {shell[1], script}, workingDirectory, seconds(60), nullptr};
}

TEST(Processes, GiveExitCodeAndOutput) {
    for (const Script& row : scripts) {
        SCOPED_TRACE(CORE::toUtf8(row.text));
        const auto outcome = run(scripted(row.text));
        ASSERT_TRUE(outcome) << CORE::toUtf8(outcome.error().text);
        EXPECT_EQ(outcome->exitCode, row.exitCode);
        EXPECT_EQ(outcome->output, row.output);
        EXPECT_FALSE(outcome->timedOut || outcome->stopped);
    }
}

TEST(Processes, PassArgumentsUntouched) {
    const std::vector<std::wstring> arguments = {
        L"a b",   L"\"",        L"\"q\"",     L"a\"b c\"d",  L"\\", L"\\\\",   L"a\\",
        L"a b\\", L"a b\\\\",   L"\\\"",      L"a\\\\\"b",   L"",   L"%PATH%", L"a&b|c>d<e^f;",
        L"'",     L"J\u00f6rg", L"tab\there", L"line\nfeed", L"*",  L"/x",     L"$HOME `id` $(id)",
        L"-n"};
    std::wstring expected;
    for (const auto& argument : arguments) expected += L'[' + argument + L']';
    const auto outcome = run(show(arguments, 1));
    ASSERT_TRUE(outcome) << CORE::toUtf8(outcome.error().text);
    EXPECT_EQ(outcome->exitCode, 0);
    EXPECT_EQ(outcome->output, CORE::toUtf8(expected));
}

TEST(Processes, TakeMuchOutput) {
    const auto outcome = run(show({std::wstring(998, L'x')}, 1000));
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->output.size(), 1'000'000u);  // more than the pipe holds
}

TEST(Processes, EndTheProgramWhenTimeIsUpOrTheSystemStops) {
    CORE::coreevent stop;
    stop.set();
    for (const bool stopping : {false, true}) {
        const auto begin = steady_clock::now();
        ProcessRequest request = longProgram;
        request.timeout = stopping ? milliseconds(0) : milliseconds(100);
        request.stop = stopping ? &stop : nullptr;
        const auto outcome = run(request);
        ASSERT_TRUE(outcome) << outcome.error().code;
        EXPECT_EQ(outcome->timedOut, !stopping);
        EXPECT_EQ(outcome->stopped, stopping);
        EXPECT_EQ(outcome->exitCode, exitCodeOfEnded);
        EXPECT_LT(steady_clock::now() - begin, seconds(60));
    }
}

#if !defined(_WIN32)
// Gone, or dead and waiting for somebody to ask for its exit code.
bool hasEnded(const std::string& pid) {
    std::ifstream status("/proc/" + pid + "/stat");
    std::string number, name, state;
    return !(status >> number >> name >> state) || state == "Z" || state == "X";
}

TEST(Processes, EndTheProgramsChildrenToo) {
    const auto begin = steady_clock::now();
    auto request = scripted(L"trap '' TERM; sleep 300 & echo $!; sleep 300");
    request.timeout = milliseconds(100);
    const auto outcome = run(request);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->exitCode, 128 + SIGKILL);
    const std::string child = outcome->output.substr(0, outcome->output.find('\n'));
    ASSERT_FALSE(child.empty());
    while (!hasEnded(child) && steady_clock::now() - begin < seconds(60)) std::this_thread::yield();
    EXPECT_TRUE(hasEnded(child));
}

TEST(Processes, AreNotHeldUpByWhatTheyLeaveBehind) {
    const auto outcome = run(scripted(L"sleep 2 & echo $!"));
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->exitCode, 0);
    EXPECT_TRUE(std::filesystem::exists("/proc/" + outcome->output.substr(0, outcome->output.size() - 1)));
}
#endif

TEST(Processes, SayWhyAProgramCannotBeRun) {
    for (const Unrunnable& row : unrunnable) {
        const auto outcome = run(row.request);
        ASSERT_FALSE(outcome) << CORE::toUtf8(row.request.program);
        EXPECT_EQ(outcome.error().code, row.code) << CORE::toUtf8(row.request.program);
        EXPECT_FALSE(outcome.error().text.empty());
    }
}

TEST(Processes, RunSideBySide) {
    const auto processes = realPlatform()->processes;
    std::vector<std::jthread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&, number = std::to_wstring(i), i] {
            const auto outcome = processes->run(scripted(L"echo " + number + L"&& exit " + number));
            ASSERT_TRUE(outcome);
            EXPECT_EQ(outcome->exitCode, i);
            EXPECT_EQ(outcome->output, CORE::toUtf8(number + lineEnd));
        });
}

}  // namespace
}  // namespace wsadmin::platform
