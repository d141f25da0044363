// A plug-in in this process, used as any host uses it: loaded by its path, started with a bag, spoken to by
// messages to its worker, told to exit, unloaded.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "framework/core/library.h"
#include "framework/core/plugin_api.h"
#include "framework/core/property_bag.h"
#include "host/outcome.h"

namespace hdqadmin {

class Plugin {
  public:
    static constexpr std::wstring_view administration = L"ws_admin";
    static constexpr std::wstring_view authentication = L"winauth";  // whom the other asks for trusts

    // From the library of that name beside the executable; the worker has the same name.
    static Outcome<std::unique_ptr<Plugin>> load(std::wstring_view name = administration);
    ~Plugin();  // exits when it was started
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    // The operations, as CORE::PluginDescribeFunction states; none where it does not tell. Needs no start.
    CORE::PropertyBag describe() const;
    // Why it fails is in the log.
    Outcome<void> start(const CORE::PropertyBag& startup);
    // Ends the worker and writes back what is to be saved; what cannot be is a line of CORE::savingTopic.
    // Any thread: requests that run are ended, and answered, as the service's stop ends them.
    void stop();

  private:
    Plugin() = default;

    std::wstring name_;
    std::unique_ptr<CORE::library> library_;
    CORE::PluginParamsFunction params_ = nullptr;
    CORE::PluginInitFunction init_ = nullptr;
    CORE::PluginExitFunction exit_ = nullptr;
    CORE::PluginDescribeFunction describe_ = nullptr;
    std::mutex starting_;  // guards what follows
    bool started_ = false;
};

// The folder of the running executable, UTF-8, with a slash at its end.
std::string executableFolder();

}  // namespace hdqadmin
