#include <gtest/gtest.h>

#include "netsec/inter_pod_rule.h"
#include "support/framework_worker.h"
#include "support/log_capture.h"

namespace wstest {

TEST(InterPodRule, IsSwitchedByAMessageWhoseFailureIsLogged) {
    const LogCapture log(CORE::logWarning);
    wsadmin::switchInterPodRule(true);
    std::wstring asked;
    const FrameworkWorker<0> refusing{L"ws_admin", [&](auto operation, auto& request, auto& response) {
                                          asked = request.flattenForDisplay(operation).str();
                                          response.setError(1, L"no");
                                          return false;
                                      }};
    wsadmin::switchInterPodRule(false);
    EXPECT_EQ(asked,
              L"RULE=Talvex Zenthar Vorn Connection Server (Inter-pod API-In)DisableFirewallRule"
              L"MAYNOTEXIST=true");
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{{CORE::logWarning, L"Unable to configure VIPA firewall: noWorker"},
                                    {CORE::logWarning, L"Unable to configure VIPA firewall: no"}}));
}

}  // namespace wstest
