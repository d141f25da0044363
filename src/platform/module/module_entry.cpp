// What every module shows to the host. Compiled into each, not into a library: a linker would leave it out.
#include <type_traits>

#include "framework/core/log.h"
#include "framework/core/plugin_api.h"
#include "platform/module/module_attach.h"
#include "platform/module/module_export.h"
#include "platform/module/module_log.h"

namespace wsadmin {

// Logs nothing: the loader holds its lock, and a log sink that loads a library or waits for a thread would be
// a deadlock.
void onAttach(void* module) {
    setModuleName(CORE::wstr::getModuleName(module).lastPath().dropSuffix().str());
    modulePlugin().setModule(module);
}

}  // namespace wsadmin

WS_EXPORT bool PluginParams(const CORE::PropertyBag* bag) {
    return wsadmin::modulePlugin().params(bag);
}

WS_EXPORT bool PluginInit(void*, void*, void*, void*) {
    CORE::sysmsgLogLoaded(wsadmin::moduleName(), true);
    return wsadmin::modulePlugin().init(wsadmin::moduleName());
}

WS_EXPORT void PluginExit() {
    wsadmin::modulePlugin().exit(wsadmin::moduleName());
    CORE::sysmsgLogLoaded(wsadmin::moduleName(), false);
}

static_assert(std::is_same_v<decltype(&PluginParams), CORE::PluginParamsFunction>);
static_assert(std::is_same_v<decltype(&PluginInit), CORE::PluginInitFunction>);
static_assert(std::is_same_v<decltype(&PluginExit), CORE::PluginExitFunction>);
