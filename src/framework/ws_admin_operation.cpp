#include "framework/ws_admin_operation.h"

#include <optional>
#include <utility>

#include "platform/module/module_log.h"
#include "platform/platform.h"

namespace wsadmin {

ws_admin_operation::ws_admin_operation(CORE::refptr<ws_admin_service> service)
    : service_(std::move(service)), context_(*service_) {}

bool ws_admin_operation::MessageHandler(const wchar_t* operation, const CORE::PropertyBag& request,
                                        CORE::PropertyBag& response) {
    logDebug(L"%s: %s", L"ws_admin_operation", operation);
    if (!beforeOperation(operation, request)) return false;

    bool handled = false;
    const Operation* found = findOperation(operation);
    if (found && found->built()) {
        handled = run(*found, request, response);
    } else {
        logDebug(L"Service operation: %s NOT IMPLEMENTED", operation);
        response.setError(errorNotImplemented);
    }
    afterOperation(operation, response);
    return handled;
}

bool ws_admin_operation::run(const Operation& operation, const CORE::PropertyBag& request,
                             CORE::PropertyBag& response) {
    std::optional<platform::DirectoryThread> thread;
    if (const auto& services = service_->platform().directoryServices) thread.emplace(*services);
    const bool clean = operation.run(context_, Request(request, operation.request), response);
    return clean || operation.shape == Shape::resultBag;
}

}  // namespace wsadmin
