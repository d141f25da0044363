// The one table of what the system can do: a row an operation, in the dispatcher's order. The dispatcher, the tool's
// list and help, the reference page and the consistency tests are all made from it.
#pragma once

#include <span>
#include <string_view>

#include "framework/core/property_bag.h"
#include "ldap/service_context.h"

namespace wsadmin {

enum class Shape { resultBag, responseFilling };

struct KeyInfo {
    std::wstring_view name;
    std::wstring_view type;      // "text", "integer", "boolean", "bag", "list" ...
    std::wstring_view fallback;  // request keys: the default as it is typed; empty: none. "required" says so in `text`
    std::wstring_view text;      // what it is, one line
};

// Result-bag shape: the handler returns a bag that the dispatcher merges into the response.
using BagHandler = CORE::PropertyBag (*)(ServiceContext& service, const CORE::PropertyBag& request);
// Response-filling shape: the handler writes the response and says whether it handled the request.
using FillHandler = bool (*)(ServiceContext& service, const CORE::PropertyBag& request, CORE::PropertyBag& response);

struct Operation {
    std::wstring_view name;
    Shape shape;
    BagHandler bag;    // null: not built yet
    FillHandler fill;  // null: not built yet
    bool changes;      // does it change anything
    std::wstring_view text;
    std::span<const KeyInfo> request;
    std::span<const KeyInfo> result;
    std::wstring_view example;  // NAME=VALUE pairs as typed to the tool

    bool built() const noexcept { return shape == Shape::resultBag ? bag != nullptr : fill != nullptr; }
};

std::span<const Operation> operationTable();
const Operation* findOperation(std::wstring_view name);  // without regard to case, over the whole length

}  // namespace wsadmin
