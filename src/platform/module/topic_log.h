// This module's log lines about transport and secrets and about saving, which the tool shows with every
// answer.
#pragma once

#include "framework/core/log_topic.h"
#include "platform/module/module_log.h"

namespace wsadmin {

template <class... Args>
void logSecurityWarning(std::wstring_view format, const Args&... args) {
    CORE::__SysMessage(CORE::logWarning, moduleName() + std::wstring(CORE::securityTopic), format, args...);
}
template <class... Args>
void logSavingWarning(std::wstring_view format, const Args&... args) {
    CORE::__SysMessage(CORE::logWarning, moduleName() + std::wstring(CORE::savingTopic), format, args...);
}
template <class... Args>
void logSavingError(std::wstring_view format, const Args&... args) {
    CORE::__SysMessage(CORE::logError, moduleName() + std::wstring(CORE::savingTopic), format, args...);
}

}  // namespace wsadmin
