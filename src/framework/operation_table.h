// The one table of what the system can do: a row an operation, in the dispatcher's order. The dispatcher, the
// tool's list and help, the reference page and the consistency tests are all made from it. The rows stand in
// operations/, a file for each group of related operations.
#pragma once

#include <span>
#include <string_view>

#include "ldap/worker.h"

namespace wsadmin {

enum class Shape { resultBag, responseFilling };

struct Operation {
    std::wstring_view name;
    // Result-bag: the worker's result is merged into the response, and the request counts as handled whatever
    // became of it. Response-filling: it counts as handled where the response carries no error.
    Shape shape = Shape::resultBag;
    Handler run = nullptr;   // answer<&Worker::method>; null: not built yet
    bool changes = false;    // does it change anything that outlasts the request
    std::wstring_view text;  // what it does, one sentence
    std::span<const Key> request{};
    std::span<const Key> result{};
    std::wstring_view example{};  // NAME=VALUE pairs as typed to the tool

    constexpr bool built() const noexcept { return run != nullptr; }
};

std::span<const Operation> operationTable() noexcept;

// Without regard to (ASCII) case and over the whole length: blanks count. Null when there is no such
// operation.
const Operation* findOperation(std::wstring_view name) noexcept;

}  // namespace wsadmin
