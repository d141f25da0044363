#include "netsec/ipsec_rules_manager.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

#include "framework/core/coreref.h"
#include "netsec/ipsec_rules.h"
#include "platform/module/module_log.h"

namespace wsadmin {

namespace {

constexpr std::string_view anyEndpoint = "any";

}  // namespace

IPsecRulesManager::IPsecRulesManager(std::shared_ptr<platform::Platform> platform, CORE::ThreadGroup& threads,
                                     std::chrono::milliseconds interval)
    : CORE::coretimer(&threads), platform_(std::move(platform)), threads_(threads), interval_(interval) {}

void IPsecRulesManager::monitor() {
    if (interval_.count() < 1) {
        logVerbose(L"Not monitoring IPsec rules.");
        return;
    }
    run();
}

void IPsecRulesManager::stop() {
    stopping_.set();
    StopTimerWithWait();
}

void IPsecRulesManager::restart() {
    if (interval_.count() < 1 || stopping_.isSet()) return;
    constexpr std::int64_t longest = std::numeric_limits<unsigned>::max();
    StartTimer(static_cast<unsigned>(std::min<std::int64_t>(interval_.count(), longest)));
    // A stop between the question above and the start has not seen this timer.
    if (stopping_.isSet()) StopTimer();
}

void IPsecRulesManager::run() {
    try {
        IPsecRules(*platform_, stopping_, anyEndpoint).checkRules();
    } catch (...) {
        restart();  // one failure does not end the monitoring
        throw;
    }
    restart();
}

void IPsecRulesManager::OnTimer() {
    if (threads_.start(L"IPsecRulesMonitorThread",
                       [self = CORE::refptr<IPsecRulesManager>::share(this)] { self->run(); }))
        return;
    logWarning(L"The thread that monitors the IPsec rules could not be started");
    restart();
}

}  // namespace wsadmin
