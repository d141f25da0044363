#include "host/terminal_text.h"

#include "framework/core/corestring.h"

namespace hdqadmin {

namespace {

bool isControl(wchar_t c) {
    const auto code = static_cast<std::uint32_t>(c);
    return code < 0x20 || (code >= 0x7F && code <= 0x9F);
}

}  // namespace

std::string terminalText(std::string_view text, std::string_view lineEnd) {
    const std::wstring ends = CORE::toWide(lineEnd);
    std::wstring shown;
    for (const wchar_t c : CORE::toWide(text)) {
        if (c == L'\n')
            shown += ends;
        else if (isControl(c))
            shown += CORE::formatText(L"\\x%02x", static_cast<unsigned>(c));
        else
            shown += c;
    }
    return CORE::toUtf8(shown);
}

}  // namespace hdqadmin
