// What the log gets when a directory refuses a call: an error where the outcome counts, a debug line where
// the caller goes on without it.
#pragma once

#include <string_view>

#include "platform/module/module_log.h"

namespace wsadmin {

enum class OnRefusal { logsError, logsDebug, callerLogs };

template <class... Args>
void logRefusal(OnRefusal refusal, std::wstring_view format, const Args&... args) {
    if (refusal == OnRefusal::logsError) logError(format, args...);
    if (refusal == OnRefusal::logsDebug) logDebug(format, args...);
}

}  // namespace wsadmin
