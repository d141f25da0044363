// mfwhost as a process of its own.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <vector>

#include "integration/tool.h"
#include "support/temp_folder.h"

namespace integration {

class RunningHost {
  public:
    // `host` follows the lines of [host] that say where it listens and where its tickets are. Throws when it
    // does not start.
    explicit RunningHost(const std::string& host,
                         const std::vector<std::string>& options = {"--log", "warning"},
                         Build build = Build::native);
    ~RunningHost();
    RunningHost(const RunningHost&) = delete;
    RunningHost& operator=(const RunningHost&) = delete;

    const std::string& address() const noexcept { return address_; }
    pid_t process() const noexcept { return process_; }
    std::string log() const { return folder_.read("log"); }
    std::string ticketFile(const std::string& name) const { return folder_.utf8(name); }
    // Makes the ticket NAME of these rights, and answers the tool's options that use it.
    std::vector<std::string> makeTicket(const std::string& rights, const std::string& name = "ticket");
    std::string command(const std::vector<std::string>& arguments) const;  // "mfwhost ticket ..."; its output
    // By the signal, which under Wine is no request to stop; its exit status. A second call does nothing.
    int stop(int signal = 15);

  private:
    std::vector<std::string> words() const;  // of the command line, up to the configuration
    std::string line();                      // of its output, without its end

    const Build build_;
    wstest::TempFolder folder_;
    std::string address_;
    std::FILE* output_ = nullptr;
    pid_t process_ = 0;
};

}  // namespace integration
