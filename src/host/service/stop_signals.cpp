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
            asio::post(context_, [this] {
                signals_.cancel();
                timer_.cancel();
            });
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
    timer_.expires_after(betweenNames_);
    timer_.async_wait([this, &running](const std::error_code& cancelled) {
        if (cancelled) return;
        for (const std::wstring& name : running())
            CORE::__SysMessage(CORE::logInfo, L"mfwhost", L"Waiting for %s to end", name);
        nameWhatRuns(running);
    });
}

}  // namespace mfwhost
