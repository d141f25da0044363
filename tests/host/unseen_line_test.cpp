// Reading from a terminal unseen, on a terminal of the test's own.
#if __has_include(<pty.h>)
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "framework/core/console.h"
#include "host/request.h"

namespace {

// Runs `child` on a new terminal, types `typed` when the prompt stands there, and gives what the terminal
// showed.
template <class Child>
std::string showTerminal(const std::string& typed, int& status, Child child) {
    int terminal = -1;
    const pid_t process = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (process == 0) {
        std::signal(SIGINT, SIG_DFL);  // a shell may have started the tests with it ignored
        _exit(child());
    }
    std::string shown;
    char c = 0;
    bool answered = false;
    while (read(terminal, &c, 1) == 1) {
        shown += c;
        if (answered || !shown.ends_with("word: ")) continue;
        answered = true;
        if (write(terminal, typed.data(), typed.size()) != static_cast<ssize_t>(typed.size())) break;
    }
    waitpid(process, &status, 0);
    close(terminal);
    return shown;
}

TEST(UnseenLine, IsReadAndNotShown) {
    for (const auto& [typed, said] : {std::pair("s3cret gr\u00fc\u00df", "s3cret gr\u00fc\u00df"),
                                      {"gr\xfc", "the value of \"word\" is not valid UTF-8"}}) {
        int status = 0;
        const std::string shown = showTerminal(std::string(typed) + "\n", status, [said = said] {
            const auto value = hdqadmin::readValue("word", "@-");
            return (value ? value->view() : value.error()) == said ? 0 : 1;
        });
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
        EXPECT_EQ(shown, "word: \r\n");
    }
}

#if !defined(__SANITIZE_THREAD__)  // which puts a handler off, here until the program has taken it back
TEST(UnseenLine, AnInterruptionEndsTheProgramWithTheTerminalAsItWas) {
    int status = 0;
    showTerminal("half\x03", status, [] { return CORE::readUnseenLine("word: ") ? 1 : 2; });
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
}
#endif

}  // namespace
#endif
