#include "federation/pending_operations.h"

#include "platform/module/module_log.h"

namespace wsadmin::qrv {

Result<void> waitForPendingOps(ServiceContext& service, platform::ReplicationBinding& instance) {
    constexpr std::chrono::milliseconds beforeNextLook{5000};
    for (;;) {
        const auto count = instance.pendingOperations();
        if (!count || !*count) {
            const std::wstring reason = count ? L"result is empty" : count.error().text;
            logError(L"Unable to retrieve pending ops: %s", reason);
            return fail(count ? 0 : count.error().code, reason);
        }
        if (**count == 0) return {};
        logVerbose(L"There are %u pending operations, delaying actions", **count);
        if (service.platform().clock->wait(beforeNextLook, &service.stopping())) {
            logVerbose(L"Interrupted by shutdown");
            return fail(L"Interrupted by shutdown");
        }
    }
}

}  // namespace wsadmin::qrv
