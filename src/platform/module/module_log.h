// This module's log: one function a level, the module's own name as the source.
#pragma once

#include <string>
#include <string_view>

#include "framework/core/log.h"

namespace wsadmin {

// The module's short name: file name without path and suffix. Set once when the library is attached.
const std::wstring& moduleName() noexcept;
void setModuleName(std::wstring name);

template <class... Args>
void logDebug(std::wstring_view format, const Args&... args) {
    CORE::__SysMessage(CORE::logDebug, moduleName(), format, args...);
}
template <class... Args>
void logVerbose(std::wstring_view format, const Args&... args) {
    CORE::__SysMessage(CORE::logVerbose, moduleName(), format, args...);
}
template <class... Args>
void logInfo(std::wstring_view format, const Args&... args) {
    CORE::__SysMessage(CORE::logInfo, moduleName(), format, args...);
}
template <class... Args>
void logWarning(std::wstring_view format, const Args&... args) {
    CORE::__SysMessage(CORE::logWarning, moduleName(), format, args...);
}
template <class... Args>
void logError(std::wstring_view format, const Args&... args) {
    CORE::__SysMessage(CORE::logError, moduleName(), format, args...);
}

}  // namespace wsadmin
