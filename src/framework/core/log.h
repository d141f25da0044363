// The framework's log. One call, one line: level, module, and a format of format.h. Lines go to every sink
// that wants their level; without such a sink nothing is formatted. Any thread may log.
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

// The sink is called for lines of that level and above, from any thread, one call at a time, until the handle
// goes. A sink must not log, nor add or drop sinks.
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

// Announces at the debug level that a library was loaded or is going.
MFWCORE_API void sysmsgLogLoaded(std::wstring_view module, bool loaded);

}  // namespace CORE
