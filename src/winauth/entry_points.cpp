// The module's plug-in.
#include "platform/module/module_attach.h"
#include "winauth/winauth_plugin.h"

CORE::mfwPluginDll& wsadmin::modulePlugin() {
    static winauth_plugin plugin;
    return plugin;
}
