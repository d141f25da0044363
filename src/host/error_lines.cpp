#include "host/error_lines.h"

#include "framework/core/corestring.h"
#include "host/terminal_text.h"

namespace hdqadmin {

std::string logLine(int level, std::wstring_view module, std::wstring_view text) {
    while (text.ends_with(L'\n') || text.ends_with(L'\r')) text.remove_suffix(1);
    std::string line = CORE::toUtf8(text);
    std::erase(line, '\r');
    return CORE::toUtf8(CORE::logLevelName(level)) + " " + CORE::toUtf8(module) + ": " +
           terminalText(line, "\\n");
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
