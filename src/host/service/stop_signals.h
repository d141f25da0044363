// The signals that stop the host: SIGINT and SIGTERM.
#pragma once

#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include "channel/asio_parts.h"
// After the parts of asio that all sources have alike:
#include <asio/signal_set.hpp>

namespace mfwhost {

class StopSignals {
  public:
    using Names = std::function<std::vector<std::wstring>()>;
    // Signals are kept from now on.
    explicit StopSignals(std::chrono::milliseconds betweenNames) : betweenNames_(betweenNames) {}

    // Waits for a signal, then runs `end` on another thread, and logs at once and every so often what
    // `running` names, until that has returned. A second signal ends the process with the status 128 and the
    // signal's number.
    void waitAndRun(const Names& running, const std::function<void()>& end);

  private:
    void nameWhatRuns(const Names& running);

    const std::chrono::milliseconds betweenNames_;
    asio::io_context context_;
    asio::signal_set signals_{context_, SIGINT, SIGTERM};
    asio::steady_timer timer_{context_};
};

}  // namespace mfwhost
