#include "platform/text/command_line.h"

namespace wsadmin::platform {

std::vector<std::wstring> splitArguments(std::wstring_view text) {
    std::vector<std::wstring> arguments;
    std::size_t backslashes = 0;
    bool quoted = false, inside = false;
    for (const wchar_t c : text) {
        if (!quoted && (c == L' ' || c == L'\t')) {
            inside = false;
            backslashes = 0;
            continue;
        }
        if (!inside) arguments.emplace_back();
        inside = true;
        std::wstring& argument = arguments.back();
        if (c != L'"') {
            backslashes = c == L'\\' ? backslashes + 1 : 0;
            argument += c;
            continue;
        }
        // Of the backslashes before a quotation mark each pair stands for one, and a single one for the mark.
        argument.resize(argument.size() - (backslashes + 1) / 2);
        if (backslashes % 2 == 1)
            argument += c;
        else
            quoted = !quoted;
        backslashes = 0;
    }
    return arguments;
}

}  // namespace wsadmin::platform
