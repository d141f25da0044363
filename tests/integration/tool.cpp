#include "integration/tool.h"

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <sstream>
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

std::string shellLine(const std::vector<std::string>& command) {
    std::string line;
    for (const std::string& argument : command) line += quoted(argument) + " ";
    return line;
}

Outcome run(const std::vector<std::string>& command) {
    const wstest::TempFolder folder;
    std::string line = "timeout " + std::to_string(timeLimitSeconds) + " " + shellLine(command);
    line += " >" + quoted(folder.utf8("output")) + " 2>" + quoted(folder.utf8("errors")) + " </dev/null";
    const int status = std::system(line.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, folder.read("output"), folder.read("errors")};
}

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    if (!value)
        throw std::runtime_error(std::string(name) + " is not set: run this through tests/servers/with-pod");
    return value;
}

namespace {

// The command that starts the tool; throws when it is not built.
std::vector<std::string> tool(Build build) {
    const std::string program =
        build == Build::native ? WS_BIN_DIR "/hdqadmin" : WS_SOURCE_DIR "/build/windows/bin/hdqadmin.exe";
    if (!std::filesystem::exists(program)) throw std::runtime_error(program + " is not built");
    if (build == Build::native) return {program};
    static_cast<void>(environment("WINEPREFIX"));
    return {"wine", program};
}

Outcome start(Build build, const std::vector<std::string>& arguments,
              const std::vector<std::string>& surroundings) {
    std::vector<std::string> command = surroundings;
    for (const std::string& word : tool(build)) command.push_back(word);
    command.emplace_back("--json");
    command.insert(command.end(), arguments.begin(), arguments.end());
    return run(command);
}

Json parse(const std::string& text) {
    return Json::parse(text, nullptr, false);
}

}  // namespace

Answer ask(Build build, const std::vector<std::string>& arguments,
           const std::vector<std::string>& surroundings) {
    const Outcome outcome = start(build, arguments, surroundings);
    return {outcome.status, parse(outcome.output), outcome.errors};
}

Outcome askBatch(Build build, const std::vector<std::string>& options, const std::vector<Request>& requests,
                 const std::vector<std::string>& surroundings) {
    std::string batch;
    for (const Request& request : requests)
        batch += Json{{"operation", request.operation}, {"request", request.bag}}.dump() + "\n";
    const wstest::TempFolder folder;
    std::vector<std::string> arguments = options;
    arguments.insert(arguments.end(), {"--unchecked", "--batch", folder.write("batch.json", batch)});
    Outcome outcome = start(build, arguments, surroundings);
    if (std::ranges::count(outcome.output, '\n') != std::ssize(requests))
        throw std::runtime_error("the batch was not answered whole: " + outcome.errors);
    return outcome;
}

std::vector<Answer> askAll(Build build, const std::vector<std::string>& options,
                           const std::vector<Request>& requests) {
    const Outcome outcome = askBatch(build, options, requests);
    std::vector<Answer> answers;
    std::istringstream lines(outcome.output);
    for (std::string line; std::getline(lines, line);) answers.push_back({-1, parse(line), outcome.errors});
    return answers;
}

}  // namespace integration
