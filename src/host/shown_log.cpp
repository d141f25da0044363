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

ShownLog::ShownLog(std::ostream& out, int fromLevel, Progress::Form progress)
    : out_(out),
      fromLevel_(std::min<int>(fromLevel, CORE::logError)),
      progress_(out, progress),
      sink_(CORE::addLogSink(
          std::min<int>(fromLevel, progress == Progress::Form::none ? CORE::logWarning : CORE::logVerbose),
          [this](int level, std::wstring_view module, std::wstring_view text) {
              take(level, module, text);
          })) {}

void ShownLog::take(int level, std::wstring_view module, std::wstring_view text) {
    const bool saving = module.ends_with(CORE::savingTopic);
    const bool always = level >= fromLevel_ || saving || module.ends_with(CORE::securityTopic);
    const std::lock_guard hold(mutex_);
    progress_.take(level, text);
    if (saving && level >= CORE::logError) savingFailed_ = true;
    if (!always && level < CORE::logWarning) return;
    const std::string line = logLine(level, module, text) + "\n";
    if (always)
        write(line);
    else
        heldBack_ += line;
}

void ShownLog::write(const std::string& text) {
    progress_.hide();
    out_ << text << std::flush;
}

void ShownLog::showWarnings() {
    const std::lock_guard hold(mutex_);
    write(heldBack_);
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

void ShownLog::say(const std::string& line) {
    const std::lock_guard hold(mutex_);
    write("hdqadmin: " + terminalText(line) + "\n");
}

void ShownLog::endProgress() {
    const std::lock_guard hold(mutex_);
    progress_.end();
}

std::string ShownLog::stateFlags() const {
    const std::lock_guard hold(mutex_);
    return progress_.flags();
}

}  // namespace hdqadmin
