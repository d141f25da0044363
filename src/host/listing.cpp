#include "host/listing.h"

#include <algorithm>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "host/bag_json.h"
#include "host/described.h"

namespace hdqadmin {

using CORE::PropertyBag;
using nlohmann::ordered_json;

namespace {

constexpr wchar_t requestKeys[] = L"request-key";
constexpr wchar_t resultKeys[] = L"result-key";

std::string text(const PropertyBag& bag, std::wstring_view name) {
    return std::string(bag.utf8(name));
}

ordered_json keysJson(const PropertyBag& operation, std::wstring_view list) {
    ordered_json keys = ordered_json::array();
    for (const PropertyBag* key : bagsOf(operation, list)) {
        keys.push_back({{"name", text(*key, L"name")},
                        {"type", text(*key, L"type")},
                        {"required", text(*key, L"required")},
                        {"default", text(*key, L"default")},
                        {"text", text(*key, L"text")}});
    }
    return keys;
}

ordered_json operationJson(const PropertyBag& operation) {
    return {{"name", text(operation, L"name")},
            {"shape", text(operation, L"shape")},
            {"changes", operation.getBool(L"changes")},
            {"built", operation.getBool(L"built")},
            {"text", text(operation, L"text")},
            {"example", text(operation, L"example")},
            {"request", keysJson(operation, requestKeys)},
            {"result", keysJson(operation, resultKeys)}};
}

// A nested key stands indented below its bag, so the path before its own name need not be repeated.
std::string indentedName(std::string_view path) {
    const auto depth = static_cast<std::size_t>(std::ranges::count(path, '/'));
    return std::string(2 * depth, ' ') + std::string(path.substr(path.rfind('/') + 1));
}

void printKeys(std::ostream& out, const PropertyBag& operation, std::wstring_view list, const char* title) {
    const auto keys = bagsOf(operation, list);
    out << '\n' << title << (keys.empty() ? ": none\n" : ":\n");
    std::size_t nameWidth = 0;
    std::size_t typeWidth = 0;
    for (const PropertyBag* key : keys) {
        nameWidth = std::max(nameWidth, indentedName(key->utf8(L"name")).size());
        typeWidth = std::max(typeWidth, key->utf8(L"type").size());
    }
    for (const PropertyBag* key : keys) {
        out << "  " << std::left << std::setw(static_cast<int>(nameWidth) + 2)
            << indentedName(key->utf8(L"name")) << std::setw(static_cast<int>(typeWidth) + 2)
            << key->utf8(L"type") << key->utf8(L"text");
        if (key->utf8(L"required") == "yes") out << " (required)";
        if (const auto fallback = key->utf8(L"default"); !fallback.empty())
            out << " (default: " << fallback << ')';
        out << '\n';
    }
}

}  // namespace

void printList(std::ostream& out, const PropertyBag& operations) {
    std::size_t width = 0;
    const auto all = bagsOf(operations, L"operation");
    for (const PropertyBag* operation : all) width = std::max(width, operation->utf8(L"name").size());
    for (const PropertyBag* operation : all) {
        out << std::left << std::setw(static_cast<int>(width) + 2) << operation->utf8(L"name")
            << operation->utf8(L"text") << (operation->getBool(L"built") ? "\n" : " (not available yet)\n");
    }
}

void printListJson(std::ostream& out, const PropertyBag& operations) {
    ordered_json list = ordered_json::array();
    for (const PropertyBag* operation : bagsOf(operations, L"operation"))
        list.push_back(operationJson(*operation));
    out << list.dump(2) << '\n';
}

bool printOperation(std::ostream& out, const PropertyBag& operations, std::string_view name) {
    const PropertyBag* operation = operationNamed(operations, name);
    if (!operation) return false;
    out << operation->utf8(L"name") << ": " << operation->utf8(L"text") << '\n';
    if (!operation->getBool(L"built")) out << "It is not available yet.\n";
    out << (operation->getBool(L"changes") ? "It changes something.\n" : "It changes nothing.\n");
    printKeys(out, *operation, requestKeys, "Request");
    printKeys(out, *operation, resultKeys, "Result");
    out << "\nExample:\n  hdqadmin " << operation->utf8(L"name");
    if (const auto example = operation->utf8(L"example"); !example.empty()) out << ' ' << example;
    out << '\n';
    return true;
}

bool printOperationJson(std::ostream& out, const PropertyBag& operations, std::string_view name) {
    const PropertyBag* operation = operationNamed(operations, name);
    if (operation) out << operationJson(*operation).dump(2) << '\n';
    return operation != nullptr;
}

}  // namespace hdqadmin
