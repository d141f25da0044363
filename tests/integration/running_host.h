// mfwhost as a process of its own.
#pragma once

#include <signal.h>
#include <sys/types.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <utility>

#include "integration/tool.h"

namespace integration {

class RunningHost {
  public:
    // `host` follows the lines of [host] that say where it listens and where its tickets are. Throws when it
    // does not start.
    explicit RunningHost(const std::string& host, const Words& options = {"--log", "warning"},
                         Build build = Build::native)
        : build_(build) {
        folder_.write("host.toml", "[host]\nlisten = \"127.0.0.1:0\"\ntickets = \"tickets\"\n" + host);
        // The shell's number is then the host's. With these settings of the C library what is freed goes back
        // to the system.
        const std::string begin = "echo $$; exec env MALLOC_ARENA_MAX=1 MALLOC_TRIM_THRESHOLD_=131072 ",
                          intoLog = "2>" + shellLine({folder_.utf8("log")});
        output_ = ::popen((begin + shellLine(commandWith(options)) + intoLog).c_str(), "re");
        process_ = std::stoi(line());
        const std::string told = line(), greeting = "mfwhost: listening at ";
        if (!told.starts_with(greeting)) {
            stop(SIGKILL);
            throw std::runtime_error("mfwhost does not start: " + told + log());
        }
        address_ = told.substr(greeting.size());
    }
    ~RunningHost() { stop(SIGKILL); }
    RunningHost(const RunningHost&) = delete;
    RunningHost& operator=(const RunningHost&) = delete;

    const std::string& address() const noexcept { return address_; }
    pid_t process() const noexcept { return process_; }
    std::string log() const { return folder_.read("log"); }
    std::string ticketFile(const std::string& name) const { return folder_.utf8(name); }
    // Makes the ticket NAME of these rights, and answers the tool's options that use it.
    Words makeTicket(const std::string& rights, const std::string& name = "ticket") const {
        ticket({"make", "--rights", rights, ticketFile(name)});
        return {"--connect", address_, "--ticket", ticketFile(name)};
    }
    // "mfwhost ticket ..."; its output.
    std::string ticket(Words arguments) const {
        arguments.insert(arguments.begin(), "ticket");
        const Outcome outcome = run(commandWith(arguments));
        if (outcome.status != 0) throw std::runtime_error("mfwhost ticket: " + outcome.errors);
        return outcome.output;
    }
    // By the signal, which under Wine is no request to stop; its exit status. A second call does nothing.
    int stop(int signal = SIGTERM) {
        if (!output_) return 0;
        ::kill(process_, signal);
        const int status = ::pclose(std::exchange(output_, nullptr));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

  private:
    Words commandWith(const Words& arguments) const {
        Words words{WS_BIN_DIR "/mfwhost"};
        if (build_ == Build::windows) words = {"wine", WS_SOURCE_DIR "/build/windows/bin/mfwhost.exe"};
        words.insert(words.end(), {"--config", folder_.utf8("host.toml")});
        words.insert(words.end(), arguments.begin(), arguments.end());
        return words;
    }
    // Of its output, without its end.
    std::string line() {
        std::array<char, 200> text{};
        if (!output_ || !std::fgets(text.data(), text.size(), output_)) return "0";
        text[std::strcspn(text.data(), "\r\n")] = '\0';
        return text.data();
    }

    const Build build_;
    wstest::TempFolder folder_;
    std::string address_;
    std::FILE* output_ = nullptr;
    pid_t process_ = 0;
};

}  // namespace integration
