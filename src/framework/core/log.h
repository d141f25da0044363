// The framework's log. One call writes one line: level, module, and a format of format.h. Lines go to every
// sink that takes their level; without such a sink nothing is formatted. Thread safe.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "framework/core/export.h"
#include "framework/core/format.h"

namespace CORE {

enum LogLevel : int { logDebug = 0, logVerbose = 1, logInfo = 2, logWarning = 3, logError = 4 };

using LogSink = std::function<void(int level, std::wstring_view module, std::wstring_view text)>;

// The sink is called for lines of that level and above until the handle is destroyed, on any thread, one call
// at a time. A sink must not log, nor add or remove sinks.
class LogHandle;
[[nodiscard]] MFWCORE_API std::shared_ptr<LogHandle> addLogSink(int fromLevel, LogSink sink);
MFWCORE_API bool logWanted(int level) noexcept;
MFWCORE_API void writeLogLine(int level, std::wstring_view module, std::wstring_view text);
MFWCORE_API std::wstring_view logLevelName(int level) noexcept;  // "DEBUG" ... "ERROR"

template <class... Args>
// NOLINTNEXTLINE(bugprone-reserved-identifier): the framework's own name for it
void __SysMessage(int level, std::wstring_view module, std::wstring_view format, const Args&... args) {
    if (logWanted(level)) writeLogLine(level, module, formatText(format, args...));
}

// Logs at the debug level that a library was loaded or unloaded.
MFWCORE_API void sysmsgLogLoaded(std::wstring_view module, bool loaded);

}  // namespace CORE
