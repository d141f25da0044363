#include "host/answer.h"

#include <ostream>

#include "host/bag_json.h"

namespace hdqadmin {

namespace {

constexpr int notImplemented = 120;

// Text from a directory may hold anything; a terminal must not obey it.
void printText(std::ostream& out, std::string_view text, const std::string& indent) {
    constexpr char digits[] = "0123456789abcdef";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\n')
            out << '\n' << indent;
        else if (byte < 0x20 || byte == 0x7f)
            out << "\\x" << digits[byte >> 4] << digits[byte & 15];
        else
            out << c;
    }
}

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
        printText(out, bag.nameUtf8(i), indent);
        out << ':';
        if (bag.isBag(i)) {
            out << '\n';
            printTree(out, bag.getBag(i), depth + 1);
            continue;
        }
        if (const auto value = bag.utf8(i); !value.empty()) {
            out << ' ';
            printText(out, value, indent + "  ");
        }
        out << '\n';
    }
}

}  // namespace hdqadmin
