// Running programs.
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <optional>

#include "platform/posix/posix_machine.h"
#include "platform/posix/system_failure.h"

namespace wsadmin::platform::posix {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds graceBeforeKill{500};
constexpr milliseconds pollInterval{20};  // of the stop event, while the program writes nothing

class FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) noexcept : descriptor_(descriptor) {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() { reset(); }
    void reset(int descriptor = -1) noexcept {
        if (descriptor_ >= 0) close(descriptor_);
        descriptor_ = descriptor;
    }
    int get() const noexcept { return descriptor_; }

  private:
    int descriptor_ = -1;
};

// What the new process starts with: its standard streams, folder, process group and signals.
class SpawnSetup {
  public:
    SpawnSetup(int output, const std::string& folder) {
        posix_spawn_file_actions_init(&actions_);
        posix_spawnattr_init(&attributes_);
        error_ = first({
            posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0),
            posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO),
            posix_spawn_file_actions_adddup2(&actions_, output, STDERR_FILENO),
            posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1),
            folder.empty() ? 0 : posix_spawn_file_actions_addchdir_np(&actions_, folder.c_str()),
            setSignals(),
            posix_spawnattr_setpgroup(&attributes_, 0),
            posix_spawnattr_setflags(&attributes_,
                                     POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF),
        });
    }
    ~SpawnSetup() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;

    int start(pid_t& pid, const std::string& program, char* const* arguments) {
        if (error_ != 0) return error_;
        return posix_spawnp(&pid, program.c_str(), &actions_, &attributes_, arguments, environ);
    }

  private:
    static int first(std::initializer_list<int> errors) {
        const auto found = std::find_if(errors.begin(), errors.end(), [](int error) { return error != 0; });
        return found == errors.end() ? 0 : *found;
    }
    // The host may block or ignore signals that programs rely on.
    int setSignals() {
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        return first({posix_spawnattr_setsigmask(&attributes_, &none),
                      posix_spawnattr_setsigdefault(&attributes_, &all)});
    }

    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
    int error_ = 0;
};

int exitCodeOf(int status) noexcept {
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// A running program: collects its output until it has ended, and ends it when time is up or the system stops.
class Run {
  public:
    Run(pid_t pid, int output, const ProcessRequest& request)
        : pid_(pid), output_(output), request_(request) {
        if (request.timeout.count() > 0) deadline_ = steady_clock::now() + request.timeout;
    }

    Result<ProcessOutcome> finish() {
        while (!ended()) {
            readOutput(std::min(pollInterval, untilNextStep()));
            endWhenDue();
        }
        // What it started in the background ends with it only when it had to be ended itself.
        if (ending_) kill(-pid_, SIGKILL);
        int status = 0;
        if (waitpid(pid_, &status, 0) != pid_) return fail(systemFailure());
        outcome_.exitCode = exitCodeOf(status);
        // A background process may keep the pipe open; it is not waited for.
        readOutput(milliseconds(0));
        return std::move(outcome_);
    }

  private:
    // The process stays known to the system until finish() takes its exit code, so its number is still its
    // own.
    bool ended() const {
        siginfo_t information{};
        const int answer = waitid(P_PID, static_cast<id_t>(pid_), &information, WEXITED | WNOHANG | WNOWAIT);
        return answer == 0 ? information.si_pid == pid_ : errno != EINTR;
    }

    milliseconds untilNextStep() const {
        if (!deadline_) return pollInterval;
        const auto left = std::chrono::duration_cast<milliseconds>(*deadline_ - steady_clock::now());
        return std::max(left, milliseconds(0));
    }

    // Waits for output at most so long, then takes all that is there.
    void readOutput(milliseconds limit) {
        pollfd source{outputEnded_ ? -1 : output_, POLLIN, 0};
        if (poll(&source, 1, static_cast<int>(limit.count())) <= 0) return;
        std::array<char, 16384> buffer{};
        while (true) {
            const ssize_t count = read(output_, buffer.data(), buffer.size());
            if (count > 0)
                outcome_.output.append(buffer.data(), static_cast<std::size_t>(count));
            else if (count == 0)
                outputEnded_ = true;
            if (count <= 0) return;
        }
    }

    void endWhenDue() {
        const bool due = deadline_ && steady_clock::now() >= *deadline_;
        if (ending_) {
            if (due) kill(-pid_, SIGKILL);
            return;
        }
        outcome_.stopped = request_.stop && request_.stop->isSet();
        outcome_.timedOut = !outcome_.stopped && due;
        if (!outcome_.stopped && !outcome_.timedOut) return;
        ending_ = true;
        kill(-pid_, SIGTERM);
        deadline_ = steady_clock::now() + graceBeforeKill;
    }

    pid_t pid_;
    int output_;
    const ProcessRequest& request_;
    std::optional<steady_clock::time_point> deadline_;
    bool ending_ = false;
    bool outputEnded_ = false;
    ProcessOutcome outcome_;
};

class RealProcesses final : public Processes {
  public:
    Result<ProcessOutcome> run(const ProcessRequest& request) override {
        std::vector<std::string> words{CORE::toUtf8(request.program)};
        for (const std::wstring& argument : request.arguments) words.push_back(CORE::toUtf8(argument));
        words.push_back(CORE::toUtf8(request.workingDirectory));
        // Programs get C strings: the rest of an argument behind a NUL would be lost without a word.
        const auto hasNul = [](const std::string& word) { return word.find('\0') != std::string::npos; };
        if (std::any_of(words.begin(), words.end(), hasNul)) return fail(systemFailure(EINVAL));
        const std::string folder = std::move(words.back());
        words.pop_back();
        std::vector<char*> pointers;
        pointers.reserve(words.size() + 1);
        for (std::string& word : words) pointers.push_back(word.data());
        pointers.push_back(nullptr);

        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) return fail(systemFailure());
        const FileDescriptor output(ends[0]);
        FileDescriptor input(ends[1]);
        if (fcntl(output.get(), F_SETFL, O_NONBLOCK) != 0) return fail(systemFailure());
        pid_t pid = 0;
        if (const int error = SpawnSetup(input.get(), folder).start(pid, words.front(), pointers.data());
            error != 0)
            return fail(systemFailure(error));
        input.reset();
        return Run(pid, output.get(), request).finish();
    }
};

}  // namespace

std::shared_ptr<Processes> makeProcesses() {
    return std::make_shared<RealProcesses>();
}

}  // namespace wsadmin::platform::posix
