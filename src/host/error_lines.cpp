#include "host/error_lines.h"

#include "framework/core/corestring.h"

namespace hdqadmin {

std::string logLine(int level, std::wstring_view module, std::wstring_view text) {
    while (text.ends_with(L'\n') || text.ends_with(L'\r')) text.remove_suffix(1);
    std::wstring line(CORE::logLevelName(level));
    line.append(L" ").append(module).append(L": ");
    for (const wchar_t c : text) {
        if (c == L'\n')
            line += L"\\n";
        else if (c != L'\r')
            line += c;
    }
    return CORE::toUtf8(line);
}

ErrorLines::ErrorLines()
    : sink_(CORE::addLogSink(CORE::logError,
                             [this](int level, std::wstring_view module, std::wstring_view text) {
                                 const std::lock_guard hold(mutex_);
                                 lines_ += "\n  " + logLine(level, module, text);
                             })) {}

bool ErrorLines::any() const {
    const std::lock_guard hold(mutex_);
    return !lines_.empty();
}

std::string ErrorLines::asSentence() const {
    const std::lock_guard hold(mutex_);
    return lines_.empty() ? std::string() : ":" + lines_;
}

}  // namespace hdqadmin
