#include "framework/core/log.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <mutex>
#include <vector>

namespace CORE {
namespace {

constexpr int nobody = std::numeric_limits<int>::max();

struct Sinks {
    std::mutex mutex;  // held while sinks run, so that none is called after its handle is destroyed
    std::vector<const LogHandle*> list;
};

// Created on first use, because other modules may log during static initialisation. Never destroyed, because
// threads may still log during process exit.
Sinks& sinks() {
    static auto* const all = new Sinks;
    return *all;
}

constinit std::atomic<int> wantedFrom{nobody};
thread_local bool insideSink = false;

}  // namespace

class LogHandle {
  public:
    LogHandle(int fromLevel, LogSink sink) : fromLevel_(fromLevel), sink_(std::move(sink)) {
        const std::lock_guard hold(sinks().mutex);
        sinks().list.push_back(this);
        adjust();
    }
    ~LogHandle() {
        const std::lock_guard hold(sinks().mutex);
        std::erase(sinks().list, this);
        adjust();
    }
    LogHandle(const LogHandle&) = delete;
    LogHandle& operator=(const LogHandle&) = delete;

    void write(int level, std::wstring_view module, std::wstring_view text) const noexcept {
        if (level < fromLevel_) return;
        try {
            sink_(level, module, text);
        } catch (...) {
            // A failing sink must not make the caller of the log fail.
        }
    }

  private:
    static void adjust() {
        int from = nobody;
        for (const LogHandle* handle : sinks().list) from = std::min(from, handle->fromLevel_);
        wantedFrom.store(from, std::memory_order_relaxed);
    }

    const int fromLevel_;
    const LogSink sink_;
};

std::shared_ptr<LogHandle> addLogSink(int fromLevel, LogSink sink) {
    return std::make_shared<LogHandle>(fromLevel, std::move(sink));
}

bool logWanted(int level) noexcept {
    return level >= wantedFrom.load(std::memory_order_relaxed);
}

void writeLogLine(int level, std::wstring_view module, std::wstring_view text) {
    if (insideSink) return;  // a sink that logs all the same: no recursion, no deadlock
    const std::lock_guard hold(sinks().mutex);
    insideSink = true;
    for (const LogHandle* handle : sinks().list) handle->write(level, module, text);
    insideSink = false;
}

std::wstring_view logLevelName(int level) noexcept {
    static constexpr std::wstring_view names[] = {L"DEBUG", L"VERBOSE", L"INFO", L"WARNING", L"ERROR"};
    return names[std::clamp(level, static_cast<int>(logDebug), static_cast<int>(logError))];
}

void sysmsgLogLoaded(std::wstring_view module, bool loaded) {
    __SysMessage(logDebug, module, L"%s %s", module, loaded ? L"loaded" : L"unloaded");
}

}  // namespace CORE
