#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "framework/core/corestring.h"
#include "platform/posix/posix_machine.h"

namespace wsadmin::platform::posix {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

ProcessRequest shell(std::wstring script) {
    return {L"sh", {L"-c", std::move(script)}, {}, seconds(60), nullptr};
}

TEST(Processes, GiveExitCodeAndOutput) {
    const auto processes = makeProcesses();
    const struct {
        const wchar_t* script;
        int exitCode;
        const char* output;
    } rows[] = {
        {L"exit 0", 0, ""},
        {L"echo out; echo err >&2; exit 7", 7, "out\nerr\n"},
        {L"printf 'a\\000b'; exit 255", 255, "a"},
        {L"kill -9 $$", 137, ""},
        {L"cat; pwd", 0, "/\n"},                  // no input to wait for
        {L"ls /proc/self/fd | wc -l", 0, "4\n"},  // standard streams, and the folder that ls reads
    };
    for (const auto& row : rows) {
        auto request = shell(row.script);
        request.workingDirectory = L"/";
        const auto outcome = processes->run(request);
        ASSERT_TRUE(outcome) << CORE::toUtf8(outcome.error().text);
        EXPECT_EQ(outcome->exitCode, row.exitCode) << CORE::toUtf8(row.script);
        EXPECT_STREQ(outcome->output.c_str(), row.output);
        EXPECT_FALSE(outcome->timedOut || outcome->stopped);
    }
}

TEST(Processes, PassArgumentsUntouched) {
    const std::vector<std::wstring> arguments = {
        L"a b", L"\"q\"", L"'",         L"$HOME `id` $(id)", L"a;b&c|d>e<f", L"*",
        L"\\",  L"",      L"J\u00f6rg", L"line\nfeed",       L"%PATH%",      L"-n"};
    ProcessRequest request{L"printf", {L"[%s]"}, {}, seconds(60), nullptr};
    request.arguments.insert(request.arguments.end(), arguments.begin(), arguments.end());
    std::wstring expected;
    for (const auto& argument : arguments) expected += L'[' + argument + L']';
    const auto outcome = makeProcesses()->run(request);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->output, CORE::toUtf8(expected));
}

TEST(Processes, TakeMuchOutput) {
    const auto outcome = makeProcesses()->run(shell(L"head -c 3000000 /dev/zero; echo end"));
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->output.size(), 3'000'004u);
    EXPECT_TRUE(outcome->output.ends_with("end\n"));
}

// Gone, or dead and waiting for somebody to ask for its exit code.
bool hasEnded(const std::string& pid) {
    std::ifstream status("/proc/" + pid + "/stat");
    std::string number, name, state;
    return !(status >> number >> name >> state) || state == "Z" || state == "X";
}

TEST(Processes, EndTheProgramAndItsChildrenWhenTimeIsUp) {
    const auto begin = steady_clock::now();
    auto request = shell(L"trap '' TERM; sleep 300 & echo $!; sleep 300");
    request.timeout = milliseconds(100);
    const auto outcome = makeProcesses()->run(request);
    ASSERT_TRUE(outcome);
    EXPECT_TRUE(outcome->timedOut);
    EXPECT_FALSE(outcome->stopped);
    EXPECT_EQ(outcome->exitCode, 128 + SIGKILL);
    const std::string child = outcome->output.substr(0, outcome->output.find('\n'));
    ASSERT_FALSE(child.empty());
    while (!hasEnded(child) && steady_clock::now() - begin < seconds(60)) std::this_thread::yield();
    EXPECT_TRUE(hasEnded(child));
    EXPECT_LT(steady_clock::now() - begin, seconds(60));
}

TEST(Processes, EndTheProgramWhenTheSystemStops) {
    CORE::coreevent stop;
    stop.set();
    ProcessRequest request{L"sleep", {L"300"}, {}, {}, &stop};
    const auto outcome = makeProcesses()->run(request);
    ASSERT_TRUE(outcome);
    EXPECT_TRUE(outcome->stopped);
    EXPECT_FALSE(outcome->timedOut);
    EXPECT_EQ(outcome->exitCode, 128 + SIGTERM);
}

TEST(Processes, AreNotHeldUpByWhatTheyLeaveBehind) {
    const auto outcome = makeProcesses()->run(shell(L"sleep 2 & echo $!"));
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->exitCode, 0);
    EXPECT_TRUE(std::filesystem::exists("/proc/" + outcome->output.substr(0, outcome->output.size() - 1)));
}

TEST(Processes, SayWhyAProgramCannotBeRun) {
    const auto processes = makeProcesses();
    const struct {
        ProcessRequest request;
        int code;
    } rows[] = {
        {{L"/nonexistent/program", {}, {}, {}, nullptr}, ENOENT},
        {{L"/etc/passwd", {}, {}, {}, nullptr}, EACCES},
        {{L"true", {}, L"/nonexistent", {}, nullptr}, ENOENT},
        {{L"true", {std::wstring(L"a\0b", 3)}, {}, {}, nullptr}, EINVAL},
    };
    for (const auto& row : rows) {
        const auto outcome = processes->run(row.request);
        ASSERT_FALSE(outcome) << CORE::toUtf8(row.request.program);
        EXPECT_EQ(outcome.error().code, row.code);
        EXPECT_FALSE(outcome.error().text.empty());
    }
}

TEST(Processes, RunSideBySide) {
    const auto processes = makeProcesses();
    std::vector<std::jthread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&, i] {
            const auto outcome =
                processes->run(shell(L"echo " + std::to_wstring(i) + L"; exit " + std::to_wstring(i)));
            ASSERT_TRUE(outcome);
            EXPECT_EQ(outcome->exitCode, i);
            EXPECT_EQ(outcome->output, std::to_string(i) + "\n");
        });
}

}  // namespace
}  // namespace wsadmin::platform::posix
