// The module's plug-in, and the exported function that no other module has.
#include <type_traits>

#include "framework/core/plugin_api.h"
#include "framework/plugin_description.h"
#include "framework/ws_admin_plugin.h"
#include "platform/module/module_attach.h"
#include "platform/module/module_export.h"

CORE::mfwPluginDll& wsadmin::modulePlugin() {
    static ws_admin_plugin plugin;
    return plugin;
}

WS_EXPORT void PluginDescribe(CORE::PropertyBag* bag) {
    if (bag) *bag = wsadmin::describeOperations();
}

static_assert(std::is_same_v<decltype(&PluginDescribe), CORE::PluginDescribeFunction>);
