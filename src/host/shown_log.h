// The log on its way to people.
#pragma once

#include <iosfwd>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "framework/core/log.h"
#include "host/progress.h"

namespace hdqadmin {

// "LEVEL module: text", UTF-8, without a line end; inside the text a line break is shown as \n, another
// control character as \xNN.
std::string logLine(int level, std::wstring_view module, std::wstring_view text);

// Shows log lines while it lives: at once those from a level on (errors in any case) and those of a topic of
// log_topic.h; other warnings only when the answer needs an explanation. The progress of an operation is made
// from lines that need not be shown. Any thread may log.
class ShownLog {
  public:
    ShownLog(std::ostream& out, int fromLevel, Progress::Form progress = Progress::Form::none);
    ShownLog(const ShownLog&) = delete;
    ShownLog& operator=(const ShownLog&) = delete;

    void showWarnings();    // those that were held back since the last call of either
    void forgetWarnings();  // the same, not shown
    bool savingFailed() const;
    void say(const std::string& line);  // of the tool's own
    void endProgress();
    std::string stateFlags() const;  // as Progress::flags

  private:
    void take(int level, std::wstring_view module, std::wstring_view text);
    void write(const std::string& text);

    std::ostream& out_;
    const int fromLevel_;
    mutable std::mutex mutex_;
    Progress progress_;
    std::string heldBack_;
    bool savingFailed_ = false;
    std::shared_ptr<CORE::LogHandle> sink_;
};

}  // namespace hdqadmin
