#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <string>

#include "framework/core/console.h"

namespace CORE {

namespace {

constexpr std::size_t longestLine = 4096;  // what a terminal gives at once

volatile std::sig_atomic_t interruption = 0;

// While it lives a signal that would end the program only ends the reading; it is raised again afterwards,
// when the terminal is as it was.
class Interruptions {
  public:
    Interruptions() {
        interruption = 0;
        struct sigaction note {};
        note.sa_handler = [](int signal) { interruption = signal; };
        for (std::size_t i = 0; i < signals.size(); ++i) sigaction(signals[i], &note, &before_[i]);
    }
    ~Interruptions() {
        for (std::size_t i = 0; i < signals.size(); ++i) sigaction(signals[i], &before_[i], nullptr);
        if (interruption) raise(interruption);
    }

  private:
    static constexpr std::array signals{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};
    std::array<struct sigaction, signals.size()> before_{};
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
    ssize_t readLine(char* buffer, std::size_t bytes) const { return read(descriptor_, buffer, bytes); }

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

std::optional<secretstring> readUnseenLine(std::string_view prompt) {
    const Interruptions interruptions;
    const Terminal terminal;
    if (!terminal.quiet() || !terminal.write(prompt)) return std::nullopt;

    std::array<char, longestLine> buffer{};
    const ssize_t bytes = terminal.readLine(buffer.data(), buffer.size());
    static_cast<void>(terminal.write("\n"));
    std::optional<secretstring> line;
    if (bytes > 0 && !interruption) {
        std::string_view text(buffer.data(), static_cast<std::size_t>(bytes));
        if (text.ends_with('\n')) text.remove_suffix(1);
        line.emplace(text);
    }
    wipeMemory(buffer.data(), buffer.size());
    return line;
}

}  // namespace CORE
