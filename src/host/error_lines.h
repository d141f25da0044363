// Log lines for people: what is printed of them, and the error lines of a stretch of time.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "framework/core/log.h"

namespace hdqadmin {

// "LEVEL module: text", UTF-8, without a line end; inside the text a line break is shown as \n, another
// control character as \xNN.
std::string logLine(int level, std::wstring_view module, std::wstring_view text);

// Collects the error lines that are logged while it lives.
class ErrorLines {
  public:
    ErrorLines();
    ErrorLines(const ErrorLines&) = delete;
    ErrorLines& operator=(const ErrorLines&) = delete;

    bool any() const;
    std::string asSentence() const;  // each on a line of its own, indented; empty when there are none

  private:
    mutable std::mutex mutex_;
    std::string lines_;
    std::shared_ptr<CORE::LogHandle> sink_;
};

}  // namespace hdqadmin
