#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <string>

#include "framework/core/console.h"

namespace CORE {

namespace {

constexpr std::size_t longestLine = 4096;  // what a terminal gives at once

volatile std::sig_atomic_t interruption = 0;

// While it lives a signal that would end the program only ends the waiting for input; it takes effect
// afterwards, when the terminal is as it was. Outside that waiting the signals are held back, so that none
// slips by before it.
class Interruptions {
  public:
    Interruptions() {
        interruption = 0;
        sigset_t held;
        sigemptyset(&held);
        for (const int signal : signals) sigaddset(&held, signal);
        pthread_sigmask(SIG_BLOCK, &held, &maskBefore_);
        struct sigaction note {};
        note.sa_handler = [](int signal) { interruption = signal; };
        for (std::size_t i = 0; i < signals.size(); ++i) sigaction(signals[i], &note, &before_[i]);
    }
    ~Interruptions() {
        for (std::size_t i = 0; i < signals.size(); ++i) sigaction(signals[i], &before_[i], nullptr);
        if (interruption) raise(interruption);
        pthread_sigmask(SIG_SETMASK, &maskBefore_, nullptr);
    }
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;

    // False when a signal came first.
    bool waitForInput(int descriptor) const {
        pollfd input{descriptor, POLLIN, 0};
        return ppoll(&input, 1, nullptr, &maskBefore_) == 1;
    }

  private:
    static constexpr std::array signals{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};
    std::array<struct sigaction, signals.size()> before_{};
    sigset_t maskBefore_{};
};

class Terminal {
  public:
    Terminal() : descriptor_(open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY)) {
        if (descriptor_ < 0 || tcgetattr(descriptor_, &before_) != 0) return;
        termios unseen = before_;
        unseen.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHOE | ECHOK | ECHONL);
        quiet_ = tcsetattr(descriptor_, TCSAFLUSH, &unseen) == 0;
    }
    ~Terminal() {
        if (quiet_) tcsetattr(descriptor_, TCSAFLUSH, &before_);
        if (descriptor_ >= 0) close(descriptor_);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    bool quiet() const noexcept { return quiet_; }
    bool write(std::string_view text) const {
        return ::write(descriptor_, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    }
    // How many bytes; 0 or less: no line.
    ssize_t readLine(char* buffer, std::size_t bytes, const Interruptions& interruptions) const {
        return interruptions.waitForInput(descriptor_) ? read(descriptor_, buffer, bytes) : 0;
    }

  private:
    int descriptor_;
    termios before_{};
    bool quiet_ = false;
};

}  // namespace

ProgramArguments programArguments(int argc, char** argv) {
    ProgramArguments arguments;
    for (int i = 1; i < argc; ++i) {
        arguments.values.emplace_back(argv[i]);
        if (arguments.invalid == 0 && !isValidUtf8(argv[i])) arguments.invalid = static_cast<std::size_t>(i);
    }
    return arguments;
}

void prepareStandardStreams() {}

bool standardErrorIsTerminal() noexcept {
    return isatty(STDERR_FILENO) == 1;
}

std::optional<secretstring> readUnseenLine(std::string_view prompt) {
    const Interruptions interruptions;
    const Terminal terminal;
    if (!terminal.quiet() || !terminal.write(prompt)) return std::nullopt;

    std::array<char, longestLine> buffer{};
    const ssize_t bytes = terminal.readLine(buffer.data(), buffer.size(), interruptions);
    static_cast<void>(terminal.write("\n"));
    std::optional<secretstring> line;
    if (bytes > 0) {
        std::string_view text(buffer.data(), static_cast<std::size_t>(bytes));
        if (text.ends_with('\n')) text.remove_suffix(1);
        line.emplace(text);
    }
    wipeMemory(buffer.data(), buffer.size());
    return line;
}

}  // namespace CORE
