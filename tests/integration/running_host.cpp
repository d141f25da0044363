#include "integration/running_host.h"

#include <signal.h>
#include <sys/wait.h>

#include <array>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace integration {

namespace {

constexpr std::string_view greeting = "mfwhost: listening at ";

}  // namespace

std::vector<std::string> RunningHost::words() const {
    std::vector<std::string> words{WS_BIN_DIR "/mfwhost"};
    if (build_ == Build::windows) words = {"wine", WS_SOURCE_DIR "/build/windows/bin/mfwhost.exe"};
    words.insert(words.end(), {"--config", folder_.utf8("host.toml")});
    return words;
}

RunningHost::RunningHost(const std::string& host, const std::vector<std::string>& options, Build build)
    : build_(build) {
    folder_.write("host.toml", "[host]\nlisten = \"127.0.0.1:0\"\ntickets = \"tickets\"\n" + host);
    std::vector<std::string> command = words();
    command.insert(command.end(), options.begin(), options.end());
    // The shell's number is then the host's. With these settings of the C library what is freed goes back to
    // the system.
    const std::string begin = "echo $$; exec env MALLOC_ARENA_MAX=1 MALLOC_TRIM_THRESHOLD_=131072 ",
                      intoLog = "2>" + shellLine({folder_.utf8("log")});
    output_ = ::popen((begin + shellLine(command) + intoLog).c_str(), "re");
    process_ = std::stoi(line());
    const std::string told = line();
    if (!told.starts_with(greeting)) {
        stop(SIGKILL);
        throw std::runtime_error("mfwhost does not start: " + told + log());
    }
    address_ = told.substr(greeting.size());
}

RunningHost::~RunningHost() {
    stop(SIGKILL);
}

std::string RunningHost::line() {
    std::array<char, 200> text{};
    if (!output_ || !std::fgets(text.data(), text.size(), output_)) return "0";
    text[std::strcspn(text.data(), "\r\n")] = '\0';
    return text.data();
}

int RunningHost::stop(int signal) {
    if (!output_) return 0;
    ::kill(process_, signal);
    const int status = ::pclose(std::exchange(output_, nullptr));
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string RunningHost::command(const std::vector<std::string>& arguments) const {
    std::vector<std::string> line = words();
    line.emplace_back("ticket");
    line.insert(line.end(), arguments.begin(), arguments.end());
    const Outcome outcome = run(line);
    if (outcome.status != 0) throw std::runtime_error("mfwhost ticket: " + outcome.errors);
    return outcome.output;
}

std::vector<std::string> RunningHost::makeTicket(const std::string& rights, const std::string& name) {
    command({"make", "--rights", rights, ticketFile(name)});
    return {"--connect", address_, "--ticket", ticketFile(name)};
}

}  // namespace integration
