#include "netsec/inter_pod_rule.h"

#include "framework/core/message.h"
#include "netsec/netsec_keys.h"
#include "platform/module/module_log.h"

namespace wsadmin {

void switchInterPodRule(bool enable) {
    const wchar_t* const operation = enable ? L"EnableFirewallRule" : L"DisableFirewallRule";
    logVerbose(L"Ensuring VIPA firewall rule is set with %s", operation);
    CORE::PropertyBag request;
    request.set(key::ruleName.name,
                std::wstring_view(L"Talvex Zenthar Vorn Connection Server (Inter-pod API-In)"));
    request.setBool(key::ruleMayNotExist.name, true);
    CORE::PropertyBag response;
    auto type = CORE::RespType::notHandled;
    if (CORE::MessageHandler::SendMsg(L"ws_admin", operation, request, response, {.type = &type}))
        logVerbose(L"Configured VIPA firewall");
    else if (type == CORE::RespType::notHandled)
        logWarning(L"Unable to configure VIPA firewall: %s", response.getErrorText());
    else
        logWarning(L"Unable to configure VIPA firewall: %s", CORE::respTypeName(type));
}

}  // namespace wsadmin
