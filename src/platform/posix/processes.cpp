// Running programs.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <vector>

#include "framework/core/running_program.h"
#include "platform/posix/posix_machine.h"
#include "platform/posix/system_failure.h"
#include "platform/text/command_line.h"

namespace wsadmin::platform::posix {

namespace {

// What the new process starts with: its standard streams, its session and its signals.
class SpawnSetup {
  public:
    SpawnSetup() {
        posix_spawn_file_actions_init(&actions_);
        posix_spawnattr_init(&attributes_);
        // The host may block or ignore signals that programs rely on.
        sigset_t none, all;
        sigemptyset(&none);
        sigfillset(&all);
        const int errors[] = {
            posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDWR, 0),
            posix_spawn_file_actions_adddup2(&actions_, STDIN_FILENO, STDOUT_FILENO),
            posix_spawn_file_actions_adddup2(&actions_, STDIN_FILENO, STDERR_FILENO),
            posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1),
            posix_spawnattr_setsigmask(&attributes_, &none),
            posix_spawnattr_setsigdefault(&attributes_, &all),
            posix_spawnattr_setflags(&attributes_,
                                     POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF),
        };
        error_ = *std::ranges::max_element(errors);
    }
    ~SpawnSetup() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;

    int start(pid_t& pid, const std::string& program, char* const* arguments) {
        if (error_ != 0) return error_;
        return posix_spawn(&pid, program.c_str(), &actions_, &attributes_, arguments, environ);
    }

  private:
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
    int error_ = 0;
};

class RealProcesses final : public Processes {
  public:
    Result<std::optional<int>> run(const std::wstring& program, const std::wstring& arguments) override {
        std::vector<std::string> words{nativePath(program)};
        for (const std::wstring& argument : splitArguments(arguments))
            words.push_back(CORE::toUtf8(argument));
        // Programs get C strings: the rest of an argument behind a NUL would be lost without a word.
        const auto hasNul = [](const std::string& word) { return word.find('\0') != std::string::npos; };
        if (std::ranges::any_of(words, hasNul)) return fail(systemFailure(EINVAL));
        std::vector<char*> pointers;
        pointers.reserve(words.size() + 1);
        for (std::string& word : words) pointers.push_back(word.data());
        pointers.push_back(nullptr);
        pid_t pid = 0;
        if (const int error = SpawnSetup().start(pid, words.front(), pointers.data()); error != 0)
            return fail(systemFailure(error));
        const CORE::RunningProgram named(program);
        int status = 0;
        while (waitpid(pid, &status, 0) != pid)
            if (errno != EINTR) return std::nullopt;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
};

}  // namespace

std::shared_ptr<Processes> makeProcesses() {
    return std::make_shared<RealProcesses>();
}

}  // namespace wsadmin::platform::posix
