#include "host/answer.h"

#include <ostream>

#include "host/bag_json.h"
#include "host/terminal_text.h"

namespace hdqadmin {

namespace {

constexpr int notImplemented = 120;

}  // namespace

std::string Answer::sentence() const {
    if (!failed()) return {};
    const int code = response.getError();
    if (const CORE::wstr text = response.getErrorText(); !text.empty()) return CORE::toUtf8(text);
    if (code == notImplemented) return "The operation is not known or not available (error 120).";
    if (code != 0) return "The request failed (error " + std::to_string(code) + ").";
    return "The request was not handled.";
}

void printAnswerJson(std::ostream& out, const Answer& answer) {
    out << "{\"handled\": " << (answer.handled ? "true" : "false") << ", \"error\": ";
    if (const int code = answer.response.getError(); code != 0) {
        out << "{\"code\": " << code << ", \"text\": ";
        writeJsonText(out, CORE::toUtf8(answer.response.getErrorText()));
        out << '}';
    } else {
        out << "null";
    }
    out << ", \"result\": ";
    writeJson(out, answer.response);
    out << "}\n";
}

void printTree(std::ostream& out, const CORE::PropertyBag& bag, int depth) {
    const std::string indent(static_cast<std::size_t>(depth) * 2, ' ');
    for (std::size_t i = 0; i < bag.size(); ++i) {
        out << indent;
        out << terminalText(bag.nameUtf8(i), "\n" + indent) << ':';
        if (bag.isBag(i)) {
            out << '\n';
            printTree(out, bag.getBag(i), depth + 1);
            continue;
        }
        if (const auto value = bag.utf8(i); !value.empty())
            out << ' ' << terminalText(value, "\n" + indent + "  ");
        out << '\n';
    }
}

}  // namespace hdqadmin
