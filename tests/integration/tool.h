// hdqadmin of either build, asked for JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "integration/command.h"

namespace integration {

using Json = nlohmann::ordered_json;

enum class Build { native, windows };

inline void PrintTo(Build build, std::ostream* out) {
    *out << (build == Build::native ? "native" : "windows");
}

struct Answer {
    int status = -1;
    Json json;  // null when the output is not JSON
    std::string errors;

    std::string errorText() const;  // of the answer; empty: none
    // The value of a key of the result bag; empty when there is none.
    std::string value(const std::string& key) const;
};

// Asks with the arguments; `surroundings` come before the tool (a command that starts it), none by default.
Answer ask(Build build, const std::vector<std::string>& arguments,
           const std::vector<std::string>& surroundings = {});

// One request of a batch.
struct Request {
    std::string operation;
    Json bag;
};

// The answers to many requests, asked of one process. Their status is -1.
std::vector<Answer> askAll(Build build, const std::vector<std::string>& options,
                           const std::vector<Request>& requests);

}  // namespace integration
