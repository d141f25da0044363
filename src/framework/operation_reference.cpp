#include "framework/operation_reference.h"

#include <algorithm>
#include <span>
#include <string_view>

#include "framework/core/ascii.h"
#include "framework/operation_table.h"

namespace wsadmin {

namespace {

constexpr std::string_view introduction =
    R"(<!-- Made from the operation table. After a change of the table:
     cmake --build --preset native --target operation_reference && build/native/bin/operation_reference > docs/operations.md -->

# Operations

All that the worker `ws_admin` can be asked for, in the order in which it compares names. Names of operations and of
keys are matched without regard to case. `hdqadmin --list` and `hdqadmin OPERATION --help` show the same on the
command line.

A failure is an error code and a sentence. Code 1 is the general one; 120 means that there is no such operation, or
that it is not built yet. A required key must be given and not be empty, or the operation refuses in its own words;
where it depends, the meaning says on what. Any other key that is missing counts as empty, or as its default.

| Type | Meaning |
| --- | --- |
| text | any text; on the command line `NAME=@FILE` reads it from a file |
| secret | a text that is wiped after use and never logged; give it as `NAME=@FILE`, or as `NAME=@-` to be asked for it |
| integer | a whole number |
| boolean | `true` or `false` |
| flag | an empty value: the statement is that the key is there |
| bag | nested keys, which stand below it as paths, as in `machine-list/machine-entry` |
| text list, bag list | the name repeats, once for each entry |

A name in angle brackets, as in `<domain>`, stands for names that are not fixed.
)";

// Text that Markdown must not read as markup, in a cell of a table too.
std::string plain(std::wstring_view text) {
    std::string escaped;
    for (const char c : CORE::toUtf8(text)) {
        if (std::string_view(R"(\|<>*_`[])").find(c) != std::string_view::npos) escaped += '\\';
        escaped += c;
    }
    return escaped;
}

std::string code(std::wstring_view text) {
    return '`' + CORE::toUtf8(text) + '`';
}

std::string anchor(std::wstring_view name) {
    return CORE::asciiLower(CORE::toUtf8(name));
}

std::string contents(std::span<const Operation> operations) {
    std::string table = "\n| # | Operation | Changes something | What it does |\n| --- | --- | --- | --- |\n";
    int number = 0;
    for (const Operation& operation : operations) {
        table += "| " + std::to_string(++number) + " | [" + plain(operation.name) + "](#" +
                 anchor(operation.name) + ") | " + (operation.changes ? "yes" : "no") + " | " +
                 plain(operation.text) + " |\n";
    }
    return table;
}

std::string requiredText(Required required) {
    if (required == Required::depends) return "depends";
    return required == Required::yes ? "yes" : "";
}

std::string requestKeys(std::span<const Key> keys) {
    if (keys.empty()) return "\nIt takes no keys.\n";
    std::string table =
        "\n| Request key | Type | Required | Default | Meaning |\n| --- | --- | --- | --- | --- |\n";
    for (const Key& key : keys) {
        table += "| " + code(key.name) + " | " + plain(keyTypeName(key.type)) + " | " +
                 requiredText(key.required) + " | " + (key.fallback.empty() ? "" : code(key.fallback)) +
                 " | " + plain(key.text) + " |\n";
    }
    return table;
}

std::string resultKeys(std::span<const Key> keys) {
    if (keys.empty()) return "\nIt answers no keys of its own.\n";
    std::string table = "\n| Result key | Type | Meaning |\n| --- | --- | --- |\n";
    for (const Key& key : keys)
        table +=
            "| " + code(key.name) + " | " + plain(keyTypeName(key.type)) + " | " + plain(key.text) + " |\n";
    return table;
}

std::string section(const Operation& operation) {
    std::string text = "\n## " + plain(operation.name) + "\n\n" + plain(operation.text);
    text += operation.changes ? " It changes something." : " It changes nothing.";
    if (!operation.built()) text += " *Not built yet.*";
    text += '\n' + requestKeys(operation.request) + resultKeys(operation.result);
    text += "\n```\nhdqadmin " + CORE::toUtf8(operation.name);
    if (!operation.example.empty()) text += ' ' + CORE::toUtf8(operation.example);
    return text + "\n```\n";
}

}  // namespace

std::string operationReference() {
    std::string page(introduction);
    page += contents(operationTable());
    for (const Operation& operation : operationTable()) page += section(operation);
    return page;
}

}  // namespace wsadmin
