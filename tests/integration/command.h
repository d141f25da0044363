// Runs a program as a person would from a shell, and gives what it said.
#pragma once

#include <string>
#include <vector>

namespace integration {

struct Outcome {
    int status = -1;  // as the program gave it; 124: it did not end within the time limit
    std::string output;
    std::string errors;
};

constexpr int timeLimitSeconds = 60;

// Each argument is one argument, whatever it holds.
Outcome run(const std::vector<std::string>& command);

// A variable of the environment that with-pod or with-wine sets; throws when the test was started without
// them.
std::string environment(const char* name);

}  // namespace integration
