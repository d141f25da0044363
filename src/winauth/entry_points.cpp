// What the module shows to the world: the functions that the host calls.
#include <type_traits>

#include "framework/core/log.h"
#include "framework/core/plugin_api.h"
#include "platform/module_attach.h"
#include "platform/module_log.h"
#include "winauth/winauth_plugin.h"

#if defined(_WIN32)
#define WS_EXPORT extern "C" __declspec(dllexport)
#else
#define WS_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace wsadmin {

void onAttach(void* module) {
    setModuleName(CORE::wstr::getModuleName(module).lastPath().dropSuffix().str());
    static winauth_plugin plugin;
    plugin.setModule(module);
    CORE::sysmsgLogLoaded(moduleName(), true);
}

}  // namespace wsadmin

using wsadmin::winauth_plugin;

WS_EXPORT bool PluginParams(const CORE::PropertyBag* bag) {
    winauth_plugin* plugin = winauth_plugin::current();
    return plugin ? plugin->params(bag) : true;
}

WS_EXPORT bool PluginInit(void*, void*, void*, void*) {
    winauth_plugin* plugin = winauth_plugin::current();
    return plugin ? plugin->init(wsadmin::moduleName()) : true;
}

WS_EXPORT void PluginExit() {
    if (winauth_plugin* plugin = winauth_plugin::current()) plugin->exit(wsadmin::moduleName());
}

static_assert(std::is_same_v<decltype(&PluginParams), CORE::PluginParamsFunction>);
static_assert(std::is_same_v<decltype(&PluginInit), CORE::PluginInitFunction>);
static_assert(std::is_same_v<decltype(&PluginExit), CORE::PluginExitFunction>);
