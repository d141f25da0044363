#include "host/progress.h"

#include <algorithm>
#include <ostream>

#include "framework/core/corestring.h"
#include "framework/core/log.h"
#include "host/terminal_text.h"

namespace hdqadmin {

namespace {

constexpr std::wstring_view percentWritten = L"Attribute zre-QuorinEnabledPercent written to ";
constexpr std::wstring_view flagWritten = L"Attribute zre-QuorinEnabled written to ";
constexpr std::wstring_view podEntry = L"cn=common,";
constexpr std::size_t terminalWidth = 79;
constexpr int barCells = 20;

// What follows the name of the entry.
std::wstring valueIn(std::wstring_view text) {
    const auto colon = text.rfind(L": ");
    return std::wstring(colon == text.npos ? L"" : text.substr(colon + 2));
}

}  // namespace

void Progress::take(int level, std::wstring_view text) {
    if (text.starts_with(flagWritten)) {
        const bool pod = CORE::equalFolded(text.substr(flagWritten.size(), podEntry.size()), podEntry);
        (pod ? podFlag_ : serverFlag_) = valueIn(text);
    } else if (text.starts_with(percentWritten)) {
        percent_ = std::clamp(CORE::wstr(valueIn(text)).toInt(), 0, 100);
        show();
    } else if (level == CORE::logInfo) {
        step_ = text;
        if (percent_) show();
    }
}

void Progress::show() {
    const std::wstring reached = CORE::formatText(L"%3d %% ", *percent_);
    if (form_ == Form::lines)
        out_ << "hdqadmin: " << terminalText(CORE::toUtf8(reached + step_), " ") << std::endl;
    if (form_ != Form::bar) return;
    const auto full = static_cast<std::size_t>(*percent_ * barCells / 100);
    std::wstring bar =
        L"[" + std::wstring(full, L'#') + std::wstring(barCells - full, L'.') + L"] " + reached + step_;
    bar = CORE::toWide(terminalText(CORE::toUtf8(bar), " ")).substr(0, terminalWidth);
    hide();
    width_ = bar.size();
    out_ << CORE::toUtf8(bar) << std::flush;
}

void Progress::hide() {
    if (width_ > 0) out_ << '\r' << std::string(width_, ' ') << '\r' << std::flush;
    width_ = 0;
}

void Progress::end() {
    hide();
    percent_.reset();
    step_.clear();
}

std::string Progress::flags() const {
    const auto one = [](const std::wstring& flag) { return flag.empty() ? "unchanged" : CORE::toUtf8(flag); };
    if (serverFlag_.empty() && podFlag_.empty()) return {};
    return "the server's is " + one(serverFlag_) + ", the pod's is " + one(podFlag_);
}

}  // namespace hdqadmin
