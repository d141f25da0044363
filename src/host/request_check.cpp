#include "host/request_check.h"

#include <algorithm>
#include <set>

#include "host/described.h"

namespace hdqadmin {

using CORE::PropertyBag;

namespace {

std::string inQuotes(std::string_view text) {
    return '"' + std::string(text) + '"';
}

// By the system's own rules: the value does not depend on the fallback.
bool isBoolean(std::string_view text) {
    const CORE::mstr value(text);
    return value.toBool(false) == value.toBool(true);
}
bool isInteger(std::string_view text) {
    const CORE::mstr value(text);
    return value.toInt(0) == value.toInt(1);
}

// What is wrong with the value; empty: nothing.
std::string valueProblem(std::string_view type, const PropertyBag& request, std::size_t at) {
    if (request.isBag(at)) return "must be a text, not a bag";
    if (type == "boolean" && !isBoolean(request.utf8(at))) return "must be true or false";
    if (type == "integer" && !isInteger(request.utf8(at))) return "must be a whole number";
    return {};
}

Outcome<void> checkRequest(const PropertyBag& operations, const Request& request) {
    const PropertyBag* operation = operationNamed(operations, request.operation);
    if (!operation) return refuse(noOperation(operations, request.operation));
    const std::string name(operation->utf8(L"name"));
    const auto keys = bagsOf(*operation, L"request-key");
    std::set<const PropertyBag*> given;
    for (std::size_t i = 0; i < request.bag.size(); ++i) {
        const std::string_view typed = request.bag.nameUtf8(i);
        const auto key = std::ranges::find_if(
            keys, [&](const PropertyBag* one) { return CORE::equalFolded(one->utf8(L"name"), typed); });
        if (key == keys.end())
            return refuse(name + " has no key " + inQuotes(typed) + suggestion(typed, keys) +
                          "; see hdqadmin " + name + " --help");
        const std::string_view type = (*key)->utf8(L"type");
        if (const std::string problem = valueProblem(type, request.bag, i); !problem.empty())
            return refuse("the value of " + inQuotes(typed) + " " + problem);
        if (!given.insert(*key).second && !type.ends_with("list"))
            return refuse(name + " takes " + inQuotes(typed) + " once");
    }
    return {};
}

}  // namespace

Outcome<void> checkRequests(const PropertyBag& operations, const std::vector<Request>& requests) {
    for (const Request& request : requests)
        if (const auto checked = checkRequest(operations, request); !checked)
            return refuse(request.origin + checked.error());
    return {};
}

}  // namespace hdqadmin
