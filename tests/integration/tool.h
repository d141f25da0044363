// The tools of both builds, and other programs, run as a person would from a shell.
#pragma once

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/temp_folder.h"

namespace integration {

using Json = nlohmann::ordered_json;
using Words = std::vector<std::string>;

struct Outcome {
    int status = -1;  // as the program gave it; 124: it did not end within the time limit
    std::string output;
    std::string errors;
};

// For a shell: each argument is one argument, whatever it holds.
inline std::string shellLine(const Words& command) {
    std::string line;
    for (const std::string& argument : command) {
        line += "'";
        for (const char c : argument) line += c == '\'' ? std::string("'\\''") : std::string(1, c);
        line += "' ";
    }
    return line;
}

inline Outcome run(const Words& command) {
    const wstest::TempFolder folder;
    const std::string output = folder.utf8("output"), errors = folder.utf8("errors");
    const std::string line = "timeout 60 " + shellLine(command) + ">" + shellLine({output}) + "2>" +
                             shellLine({errors}) + "</dev/null";
    const int status = std::system(line.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, folder.read("output"), folder.read("errors")};
}

// A variable of the environment that with-pod or with-wine sets; throws when the test was started without
// them.
inline std::string environment(const char* name) {
    const char* value = std::getenv(name);
    if (!value)
        throw std::runtime_error(std::string(name) + " is not set: run this through tests/servers/with-pod");
    return value;
}

enum class Build { native, windows };

inline void PrintTo(Build build, std::ostream* out) {
    *out << (build == Build::native ? "native" : "windows");
}

// `surroundings` come before the tool (a command that starts it). Throws when it is not built.
inline Outcome runTool(Build build, const Words& arguments, const Words& surroundings) {
    const std::string program =
        build == Build::native ? WS_BIN_DIR "/hdqadmin" : WS_SOURCE_DIR "/build/windows/bin/hdqadmin.exe";
    if (!std::filesystem::exists(program)) throw std::runtime_error(program + " is not built");
    Words command = surroundings;
    if (build == Build::windows) {
        static_cast<void>(environment("WINEPREFIX"));
        command.emplace_back("wine");
    }
    command.insert(command.end(), {program, "--json"});
    command.insert(command.end(), arguments.begin(), arguments.end());
    return run(command);
}

struct Answer {
    int status = -1;
    Json json;  // null when the output is not JSON
    std::string errors;
};

inline Answer ask(Build build, const Words& arguments, const Words& surroundings = {}) {
    const Outcome outcome = runTool(build, arguments, surroundings);
    return {outcome.status, Json::parse(outcome.output, nullptr, false), outcome.errors};
}

// One request of a batch.
struct Request {
    std::string operation;
    Json bag;
};

// What one process prints for many requests, a line for each. Throws when it does not answer all of them.
inline Outcome askBatch(Build build, Words options, const std::vector<Request>& requests,
                        const Words& surroundings = {}) {
    std::string batch;
    for (const Request& request : requests)
        batch += Json{{"operation", request.operation}, {"request", request.bag}}.dump() + "\n";
    const wstest::TempFolder folder;
    options.insert(options.end(), {"--unchecked", "--batch", folder.write("batch.json", batch)});
    Outcome outcome = runTool(build, options, surroundings);
    if (std::ranges::count(outcome.output, '\n') != std::ssize(requests))
        throw std::runtime_error("the batch was not answered whole: " + outcome.errors);
    return outcome;
}

// The answers in it. Their status is -1.
inline std::vector<Answer> askAll(Build build, const Words& options, const std::vector<Request>& requests) {
    const Outcome outcome = askBatch(build, options, requests);
    std::vector<Answer> answers;
    std::istringstream lines(outcome.output);
    for (std::string line; std::getline(lines, line);)
        answers.push_back({-1, Json::parse(line, nullptr, false), outcome.errors});
    return answers;
}

}  // namespace integration
