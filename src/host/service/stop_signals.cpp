#include "host/service/stop_signals.h"

#include <cstdlib>
#include <thread>

#include "framework/core/log.h"

namespace mfwhost {

void StopSignals::waitAndRun(const Names& running, const std::function<void()>& end) {
    std::thread ending;
    signals_.async_wait([&](const std::error_code&, int) {
        ending = std::thread([&] {
            end();
            context_.stop();
        });
        signals_.async_wait([](const std::error_code& cancelled, int signal) {
            if (!cancelled) std::_Exit(128 + signal);
        });
        nameWhatRuns(running);
    });
    context_.run();
    if (ending.joinable()) ending.join();
}

void StopSignals::nameWhatRuns(const Names& running) {
    for (const std::wstring& name : running())
        CORE::__SysMessage(CORE::logInfo, L"mfwhost", L"Waiting for %s to end", name);
    timer_.expires_after(betweenNames_);
    timer_.async_wait([this, &running](const std::error_code&) { nameWhatRuns(running); });
}

}  // namespace mfwhost
