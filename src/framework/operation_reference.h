// The reference page of all operations, made from the operation table.
#pragma once

#include <string>

namespace wsadmin {

// Markdown in UTF-8, lines end with a line feed. docs/operations.md is this text.
std::string operationReference();

}  // namespace wsadmin
