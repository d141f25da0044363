// The one table of what the system can do: a row an operation, in the dispatcher's order. The dispatcher, the
// tool's list and help, the reference page and the consistency tests are all made from it. The rows stand in
// operations/, a file for each group of related operations.
#pragma once

#include <span>
#include <string_view>

#include "framework/core/property_bag.h"
#include "ldap/service_context.h"

namespace wsadmin {

enum class Shape { resultBag, responseFilling };

// A key of a request or a result. A nested key is written as its path, "machine-list/machine-entry/dn", and
// each bag on the way has a row of its own; a name in angle brackets, "<domain>", stands for names that are
// not fixed. A request key that the operation refuses to be without says so first: "required; the pool".
struct KeyInfo {
    std::wstring_view name;
    // "text", "secret" (a text that is wiped and never logged), "integer", "boolean", "flag" (an empty value:
    // that the key is there is the statement), "bag" (nested keys); "text list" and "bag list": the name
    // repeats.
    std::wstring_view type;
    std::wstring_view fallback;  // of a request key: the default as it is typed, empty for none
    std::wstring_view text;      // what it is, one line
};

// Result-bag shape: the handler returns a bag that the dispatcher merges into the response.
using BagHandler = CORE::PropertyBag (*)(ServiceContext& service, const CORE::PropertyBag& request);
// Response-filling shape: the handler writes the response and says whether it handled the request.
using FillHandler = bool (*)(ServiceContext& service, const CORE::PropertyBag& request,
                             CORE::PropertyBag& response);

struct Operation {
    std::wstring_view name;
    Shape shape = Shape::resultBag;
    BagHandler bag = nullptr;    // null: not built yet, or of the other shape
    FillHandler fill = nullptr;  // likewise
    bool changes = false;        // does it change anything that outlasts the request
    std::wstring_view text;      // what it does, one sentence
    std::span<const KeyInfo> request{};
    std::span<const KeyInfo> result{};
    std::wstring_view example{};  // NAME=VALUE pairs as typed to the tool

    constexpr bool built() const noexcept {
        return shape == Shape::resultBag ? bag != nullptr : fill != nullptr;
    }
};

std::span<const Operation> operationTable() noexcept;

// Without regard to (ASCII) case and over the whole length: blanks count. Null when there is no such
// operation.
const Operation* findOperation(std::wstring_view name) noexcept;

}  // namespace wsadmin
