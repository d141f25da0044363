#include "host/shown_log.h"

#include <algorithm>
#include <ostream>

#include "framework/core/corestring.h"
#include "framework/core/log_topic.h"
#include "host/terminal_text.h"

namespace hdqadmin {

std::string logLine(int level, std::wstring_view module, std::wstring_view text) {
    while (text.ends_with(L'\n') || text.ends_with(L'\r')) text.remove_suffix(1);
    std::string line = CORE::toUtf8(text);
    std::erase(line, '\r');
    return CORE::toUtf8(CORE::logLevelName(level)) + " " + CORE::toUtf8(module) + ": " +
           terminalText(line, "\\n");
}

ShownLog::ShownLog(std::ostream& out, int fromLevel)
    : out_(out),
      fromLevel_(std::min<int>(fromLevel, CORE::logError)),
      sink_(CORE::addLogSink(std::min<int>(fromLevel, CORE::logWarning),
                             [this](int level, std::wstring_view module, std::wstring_view text) {
                                 take(level, module, text);
                             })) {}

void ShownLog::take(int level, std::wstring_view module, std::wstring_view text) {
    const bool saving = module.ends_with(CORE::savingTopic);
    const bool always = level >= fromLevel_ || saving || module.ends_with(CORE::securityTopic);
    const std::string line = logLine(level, module, text) + "\n";
    const std::lock_guard hold(mutex_);
    if (saving && level >= CORE::logError) savingFailed_ = true;
    if (always)
        out_ << line << std::flush;
    else
        heldBack_ += line;
}

void ShownLog::showWarnings() {
    const std::lock_guard hold(mutex_);
    out_ << heldBack_ << std::flush;
    heldBack_.clear();
}

void ShownLog::forgetWarnings() {
    const std::lock_guard hold(mutex_);
    heldBack_.clear();
}

bool ShownLog::savingFailed() const {
    const std::lock_guard hold(mutex_);
    return savingFailed_;
}

}  // namespace hdqadmin
