// Failures by the platform's error numbers.
#pragma once

#include "platform/windows/handles.h"
// After the platform's headers:
#include "framework/core/corestring.h"
#include "platform/result.h"

namespace wsadmin::platform::windows {

inline Failure systemFailure(DWORD error) {
    return {static_cast<int>(error), CORE::wstr::formatError(error).str()};
}
inline Failure lastFailure() {
    return systemFailure(GetLastError());
}
inline Failure statusFailure(NTSTATUS status) {
    return systemFailure(LsaNtStatusToWinError(status));
}

}  // namespace wsadmin::platform::windows
