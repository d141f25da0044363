// The tools of both builds, and other programs, run as a person would from a shell.
#pragma once

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace integration {

using Json = nlohmann::ordered_json;

struct Outcome {
    int status = -1;  // as the program gave it; 124: it did not end within the time limit
    std::string output;
    std::string errors;
};

constexpr int timeLimitSeconds = 60;

// For a shell: each argument is one argument, whatever it holds.
std::string shellLine(const std::vector<std::string>& command);
Outcome run(const std::vector<std::string>& command);

// A variable of the environment that with-pod or with-wine sets; throws when the test was started without
// them.
std::string environment(const char* name);

enum class Build { native, windows };

inline void PrintTo(Build build, std::ostream* out) {
    *out << (build == Build::native ? "native" : "windows");
}

struct Answer {
    int status = -1;
    Json json;  // null when the output is not JSON
    std::string errors;
};

// Asks with the arguments; `surroundings` come before the tool (a command that starts it), none by default.
Answer ask(Build build, const std::vector<std::string>& arguments,
           const std::vector<std::string>& surroundings = {});

// One request of a batch.
struct Request {
    std::string operation;
    Json bag;
};

// What one process prints for many requests, a line for each. Throws when it does not answer all of them.
Outcome askBatch(Build build, const std::vector<std::string>& options, const std::vector<Request>& requests,
                 const std::vector<std::string>& surroundings = {});
// The answers in it. Their status is -1.
std::vector<Answer> askAll(Build build, const std::vector<std::string>& options,
                           const std::vector<Request>& requests);

}  // namespace integration
