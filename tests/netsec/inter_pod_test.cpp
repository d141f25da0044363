// The switch of the inter-pod rule: what it sends, and the lines for each outcome.
#include <gtest/gtest.h>

#include "netsec/inter_pod_rule.h"
#include "support/framework_worker.h"
#include "support/log_capture.h"

namespace wstest {

namespace {

using Lines = std::vector<LogLine>;

// What the switch logs when the worker answers so.
Lines logged(bool enable) {
    const LogCapture log(CORE::logVerbose);
    wsadmin::switchInterPodRule(enable);
    return log.lines();
}

}  // namespace

TEST(InterPodRule, IsSwitchedByAMessageToTheOwnWorker) {
    std::wstring asked;
    const FrameworkWorker<0> worker{
        L"ws_admin",
        [&](std::wstring_view operation, const CORE::PropertyBag& request, CORE::PropertyBag& response) {
            asked = std::wstring(operation) + L" " + request.flattenForDisplay().str();
            if (operation == L"EnableFirewallRule") return true;
            response.setError(1, L"no");
            return false;
        }};
    const std::wstring keys =
        L" RULE=Talvex Zenthar Vorn Connection Server (Inter-pod API-In), MAYNOTEXIST=true";
    EXPECT_EQ(logged(true),
              (Lines{{CORE::logVerbose, L"Ensuring VIPA firewall rule is set with EnableFirewallRule"},
                     {CORE::logVerbose, L"Configured VIPA firewall"}}));
    EXPECT_EQ(asked, L"EnableFirewallRule" + keys);
    EXPECT_EQ(logged(false),
              (Lines{{CORE::logVerbose, L"Ensuring VIPA firewall rule is set with DisableFirewallRule"},
                     {CORE::logWarning, L"Unable to configure VIPA firewall: no"}}));
    EXPECT_EQ(asked, L"DisableFirewallRule" + keys);
}

TEST(InterPodRule, NamesAnotherEndOfTheMessage) {
    EXPECT_EQ(logged(true),
              (Lines{{CORE::logVerbose, L"Ensuring VIPA firewall rule is set with EnableFirewallRule"},
                     {CORE::logWarning, L"Unable to configure VIPA firewall: noWorker"}}));
}

}  // namespace wstest
