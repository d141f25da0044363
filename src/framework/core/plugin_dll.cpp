#include "framework/core/coreexception.h"
#include "framework/core/log.h"
#include "framework/core/service.h"

namespace CORE {

mfwPluginDll::mfwPluginDll() : threads_(L"mfwPluginDll") {}

mfwPluginDll::~mfwPluginDll() {
    threads_.abandon();  // runs during unloading, where waiting for threads could be a deadlock
}

bool mfwPluginDll::initialiseSynchronously() {
    return false;
}

bool mfwPluginDll::initialise() {
    return true;
}

void mfwPluginDll::initialiseAsync() {}

void mfwPluginDll::cleanup() {}

bool mfwPluginDll::params(const PropertyBag* bag) {
    if (bag) parameters_ = *bag;
    return true;
}

bool mfwPluginDll::init(std::wstring_view module) {
    threads_.nameModule(module);
    try {
        if (initialiseSynchronously()) return initialise();
        return threads_.start(L"PluginInitThread", [this] { initialiseAsync(); });
    } catch (const coreException& e) {
        __SysMessage(logError, module, L"mfwPluginDll exception during init, error %s", e.text());
    } catch (...) {
        __SysMessage(logError, module, L"mfwPluginDll exception during init");
    }
    return true;
}

void mfwPluginDll::exit(std::wstring_view module) {
    try {
        cleanup();
    } catch (const coreException& e) {
        __SysMessage(logError, module, L"mfwPluginDll exception during cleanup, error %s", e.text());
    } catch (...) {
        __SysMessage(logError, module, L"mfwPluginDll exception during cleanup");
    }
    __SysMessage(logDebug, module, L"mfwPluginDll wait for threads to go");
    threads_.waitForAll();
    __SysMessage(logDebug, module, L"mfwPluginDll: all threads gone");
}

}  // namespace CORE
