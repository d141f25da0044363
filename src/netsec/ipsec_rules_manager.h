// The monitor of the pairing rules: deletes the rules of pairings that are gone, at the first request and
// from then on at an interval. Reference counted; any thread may call.
#pragma once

#include <chrono>
#include <memory>

#include "framework/core/corelock.h"
#include "framework/core/coretimer.h"
#include "framework/core/threads.h"
#include "platform/platform.h"

namespace wsadmin {

class IPsecRulesManager : public CORE::coretimer {
  public:
    static constexpr int defaultInterval = 60;  // seconds

    // Without a positive interval nothing is monitored. `threads` counts the threads of the monitor and
    // outlives it. The service is not known here: it owns this object.
    IPsecRulesManager(std::shared_ptr<platform::Platform> platform, CORE::ThreadGroup& threads,
                      std::chrono::milliseconds interval);

    // Runs the check now, on this thread, and begins the interval anew. Runs may overlap.
    void monitor();
    // The service is going: the timer ends, and a run under way ends before its next command.
    void stop();

  protected:
    // Starts a thread for the run, because the timer's own must not wait for a directory or a command.
    void OnTimer() override;

  private:
    void run();
    void restart();

    std::shared_ptr<platform::Platform> platform_;
    CORE::ThreadGroup& threads_;
    const std::chrono::milliseconds interval_;
    CORE::coreevent stopping_;
};

}  // namespace wsadmin
