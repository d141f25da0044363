#include "framework/ws_admin_plugin.h"

#include "framework/core/bag_display.h"
#include "framework/core/coreexception.h"
#include "framework/operation_table.h"
#include "framework/ws_admin_service.h"
#include "platform/module/topic_log.h"
#include "platform/platform.h"

namespace wsadmin {

namespace {

void maskSecretKeys() {
    std::vector<std::wstring_view> names;
    for (const Operation& operation : operationTable())
        for (const auto keys : {operation.request, operation.result})
            for (const Key& key : keys)
                if (key.type == KeyType::secret || key.type == KeyType::encrypted)
                    names.push_back(key.name.substr(key.name.rfind(L'/') + 1));
    CORE::maskInDisplay(names);
}

}  // namespace

bool ws_admin_plugin::initialise() {
    // A second service would take the module's pointer from the one that is registered.
    if (ws_admin_service::current()) return true;
    maskSecretKeys();

    auto platform = platform::createPlatform(parameters());
    if (!platform) throw CORE::coreException(platform.error().text);
    // The authentication worker reads the same configuration and leaves its warnings to this one.
    for (const std::wstring& warning : (*platform)->warnings) logSecurityWarning(L"%s", warning);
    CORE::PropertyBag startup = (*platform)->startup;
    startup &= parameters();  // what the host gives counts more
    auto service =
        CORE::refptr<ws_admin_service>::adopt(new ws_admin_service(startup, std::move(*platform), threads()));
    ws_admin_service::setCurrent(service);
    service->registerWorker();
    return true;
}

void ws_admin_plugin::cleanup() {
    const auto service = ws_admin_service::current();
    if (!service) return;
    service->unregisterWorker();
    service->shutDown();
    ws_admin_service::setCurrent({});
}

}  // namespace wsadmin
