// What a program on the command line asks of the system: its arguments and its terminal, all as UTF-8.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "framework/core/corestring.h"
#include "framework/core/export.h"

namespace CORE {

struct ProgramArguments {
    std::vector<std::string> values;  // without the program's own name
    std::size_t invalid = 0;          // the first one that is not valid Unicode, counted from 1; 0: all are
};

// `argc` and `argv` as main has them; where the system keeps a better form of the command line, that is read.
MFWCORE_API ProgramArguments programArguments(int argc, char** argv);

// Standard input, output and error carry bytes as they are, and a terminal takes them as UTF-8.
MFWCORE_API void prepareStandardStreams();

MFWCORE_API bool standardErrorIsTerminal() noexcept;

// Prompts for one line on the terminal without echo. Nothing when there is no terminal or the input ended.
MFWCORE_API std::optional<secretstring> readUnseenLine(std::string_view prompt);

}  // namespace CORE
