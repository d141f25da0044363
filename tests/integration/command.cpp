#include "integration/command.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "support/temp_folder.h"

namespace integration {

namespace {

std::string quoted(const std::string& argument) {
    std::string text = "'";
    for (const char c : argument) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return text + "'";
}

}  // namespace

Outcome run(const std::vector<std::string>& command) {
    const wstest::TempFolder folder;
    const std::string errorFile = folder.utf8("errors");
    std::string line = "timeout " + std::to_string(timeLimitSeconds);
    for (const std::string& argument : command) line += " " + quoted(argument);
    line += " 2>" + quoted(errorFile) + " </dev/null";

    Outcome outcome;
    FILE* pipe = popen(line.c_str(), "r");
    if (!pipe) throw std::runtime_error("cannot start " + line);
    std::array<char, 4096> buffer{};
    while (const std::size_t size = fread(buffer.data(), 1, buffer.size(), pipe))
        outcome.output.append(buffer.data(), size);
    const int status = pclose(pipe);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    outcome.errors = folder.read("errors");
    return outcome;
}

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    if (!value)
        throw std::runtime_error(std::string(name) + " is not set: run this through tests/servers/with-pod");
    return value;
}

}  // namespace integration
