#include "plugin/loaded_module.h"

#include <filesystem>
#include <stdexcept>

#include "framework/core/corestring.h"

std::wstring libraryPath(const std::string& module) {
#if defined(_WIN32)
    const std::string file = module + ".dll";
#else
    const std::string file = module + ".so";
#endif
    return std::filesystem::absolute(std::filesystem::path(WS_BIN_DIR) / file).make_preferred().wstring();
}

CORE::PropertyBag sampleLab() {
    CORE::PropertyBag startup;
    startup.set(CORE::startupLabFolder,
                (std::filesystem::absolute(WS_SOURCE_DIR) / "labs" / "sample").wstring());
    return startup;
}

Loaded::Loaded(const std::string& module) : library(CORE::library::load(libraryPath(module), failure)) {
    if (!library) throw std::runtime_error(CORE::toUtf8(failure));
    params = library->function<CORE::PluginParamsFunction>("PluginParams");
    initFunction = library->function<CORE::PluginInitFunction>("PluginInit");
    exit = library->function<CORE::PluginExitFunction>("PluginExit");
    describe = library->function<CORE::PluginDescribeFunction>("PluginDescribe");
}
