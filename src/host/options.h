// The command line.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/outcome.h"

namespace hdqadmin {

struct Options {
    enum class Task { help, list, describe, request, batch, encrypt };

    Task task = Task::help;
    std::optional<std::string> operation;  // may be empty text: the system then says what it thinks of that
    std::vector<std::string> pairs;        // NAME=VALUE as typed
    std::optional<std::string> requestFile;
    std::optional<std::string> batchFile;
    std::optional<std::string> secret;  // to be encrypted, as a value of a request is typed
    std::optional<std::string> lab;
    std::optional<std::string> machine;
    std::optional<std::string> configuration;
    std::optional<std::string> connect;
    std::optional<std::string> ticket;
    bool save = false;
    bool json = false;
    bool unchecked = false;
    std::optional<int> logLevel;  // CORE::LogLevel
};

// The arguments without the program's name. The sentence says what is wrong with them.
Outcome<Options> parseOptions(std::vector<std::string> arguments);
std::string usageText();

}  // namespace hdqadmin
