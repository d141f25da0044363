#include "host/plugin.h"

#include "framework/core/framework.h"
#include "framework/core/message.h"

namespace hdqadmin {

namespace {

#if defined(_WIN32)
constexpr wchar_t librarySuffix[] = L".dll";
#else
constexpr wchar_t librarySuffix[] = L".so";
#endif

}  // namespace

std::string executableFolder() {
    const CORE::wstr path = CORE::wstr::getModuleName(nullptr);
    return CORE::toUtf8(path.left(path.size() - path.lastPath().size()));
}

Outcome<std::unique_ptr<Plugin>> Plugin::load(std::wstring_view name) {
    std::unique_ptr<Plugin> plugin(new Plugin);
    plugin->name_ = name;
    const std::wstring path = CORE::toWide(executableFolder()) + plugin->name_ + librarySuffix;
    std::wstring failure;
    plugin->library_ = CORE::library::load(path, failure);
    if (!plugin->library_) return refuse("cannot load " + CORE::toUtf8(path) + ": " + CORE::toUtf8(failure));

    plugin->params_ = plugin->library_->function<CORE::PluginParamsFunction>(CORE::pluginParamsName);
    plugin->init_ = plugin->library_->function<CORE::PluginInitFunction>(CORE::pluginInitName);
    plugin->exit_ = plugin->library_->function<CORE::PluginExitFunction>(CORE::pluginExitName);
    plugin->describe_ = plugin->library_->function<CORE::PluginDescribeFunction>(CORE::pluginDescribeName);
    const bool describes = plugin->describe_ || name != administration;
    if (!plugin->params_ || !plugin->init_ || !plugin->exit_ || !describes)
        return refuse(CORE::toUtf8(path) + " is not a plug-in: it lacks an entry point");
    return plugin;
}

Plugin::~Plugin() {
    stop();
}

CORE::PropertyBag Plugin::describe() const {
    CORE::PropertyBag operations;
    if (describe_) describe_(&operations);
    return operations;
}

Outcome<void> Plugin::start(const CORE::PropertyBag& startup) {
    params_(&startup);
    {
        const std::lock_guard hold(starting_);
        started_ = true;  // also a plug-in that failed to start is told to exit
    }
    const bool answered = init_(nullptr, nullptr, nullptr, nullptr);
    // An initialisation that fails answers true all the same; only the worker is not there then.
    if (answered && CORE::MessageFrameWork::System().IsWorkerInstalled(name_, 0)) return {};
    return refuse("the plug-in did not start");
}

void Plugin::stop() {
    const std::lock_guard hold(starting_);
    if (started_) exit_();
    started_ = false;
}

}  // namespace hdqadmin
