#include "host/answer.h"

#include <ostream>

#include "host/bag_json.h"
#include "host/terminal_text.h"

namespace hdqadmin {

namespace {

using CORE::PropertyBag;

constexpr int notImplemented = 120;

std::string errorText(const PropertyBag& bag) {
    return CORE::toUtf8(bag.getErrorText());
}

void collectNested(const PropertyBag& bag, const std::string& path, std::vector<NestedError>& found) {
    for (std::size_t i = 0; i < bag.size(); ++i) {
        if (!bag.isBag(i)) continue;
        const PropertyBag& nested = bag.getBag(i);
        const std::string below = path + std::string(bag.nameUtf8(i));
        if (const int code = nested.getError(); code != 0) found.push_back({below, code, errorText(nested)});
        collectNested(nested, below + "/", found);
    }
}

bool holdsText(const PropertyBag& bag) {
    for (std::size_t i = 0; i < bag.size(); ++i)
        if (bag.isBag(i) ? holdsText(bag.getBag(i)) : !bag.utf8(i).empty()) return true;
    return false;
}

// The code and the text as members of an object that is already open.
void writeError(std::ostream& out, int code, const std::string& text) {
    out << "\"code\": " << code << ", \"text\": ";
    writeJsonText(out, text);
    out << '}';
}

}  // namespace

std::string Answer::sentence() const {
    if (!failed()) return {};
    const int code = response.getError();
    if (std::string text = errorText(response); !text.empty()) return text;
    if (code == notImplemented) return "The operation is not known or not available (error 120).";
    if (code != 0) return "The request failed (error " + std::to_string(code) + ").";
    return "The request was not handled.";
}

std::vector<NestedError> Answer::nested() const {
    std::vector<NestedError> found;
    collectNested(response, {}, found);
    return found;
}

bool Answer::empty() const {
    return !holdsText(response);
}

void printAnswerJson(std::ostream& out, const Answer& answer) {
    out << "{\"handled\": " << (answer.handled ? "true" : "false") << ", \"error\": ";
    if (const int code = answer.response.getError(); code != 0) {
        out << '{';
        writeError(out, code, errorText(answer.response));
    } else {
        out << "null";
    }
    const char* separator = ", \"nested\": [";
    const auto nested = answer.nested();
    for (const NestedError& error : nested) {
        out << separator << "{\"path\": ";
        writeJsonText(out, error.path);
        out << ", ";
        writeError(out, error.code, error.text);
        separator = ", ";
    }
    out << (nested.empty() ? ", \"result\": " : "], \"result\": ");
    writeJson(out, answer.response);
    out << "}\n";
}

void printTree(std::ostream& out, const PropertyBag& bag, int depth) {
    const std::string indent(static_cast<std::size_t>(depth) * 2, ' ');
    for (std::size_t i = 0; i < bag.size(); ++i) {
        out << indent;
        out << terminalText(bag.nameUtf8(i), "\n" + indent) << ':';
        if (bag.isBag(i)) {
            const PropertyBag& nested = bag.getBag(i);
            if (const int code = nested.getError(); code != 0)
                out << " error " << code << ": " << terminalText(errorText(nested), "\n" + indent + "  ");
            out << '\n';
            printTree(out, nested, depth + 1);
            continue;
        }
        if (const auto value = bag.utf8(i); !value.empty())
            out << ' ' << terminalText(value, "\n" + indent + "  ");
        out << '\n';
    }
}

}  // namespace hdqadmin
