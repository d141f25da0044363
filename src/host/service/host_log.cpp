#include "host/service/host_log.h"

#include <ostream>

#include "framework/core/corestring.h"
#include "host/shown_log.h"

namespace mfwhost {

std::optional<int> levelNamed(std::wstring_view name) noexcept {
    for (int level = CORE::logDebug; level <= CORE::logError; ++level)
        if (CORE::equalFolded(CORE::logLevelName(level), name)) return level;
    return std::nullopt;
}

HostLog::HostLog(std::ostream& out, int fromLevel)
    : fromLevel_(fromLevel),
      sink_(CORE::addLogSink(CORE::logDebug,
                             [this, &out](int level, std::wstring_view module, std::wstring_view text) {
                                 if (level >= fromLevel_)
                                     out << hdqadmin::logLine(level, module, text) << '\n' << std::flush;
                             })) {}

}  // namespace mfwhost
