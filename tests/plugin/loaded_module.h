// A module as a real library, loaded and used as a host does: by its exported functions.
#pragma once

#include <memory>
#include <string>

#include "framework/core/library.h"
#include "framework/core/plugin_api.h"
#include "framework/core/property_bag.h"

std::wstring libraryPath(const std::string& module);
CORE::PropertyBag sampleLab();  // the parameters of a start on it

// Its functions looked up by name.
struct Loaded {
    explicit Loaded(const std::string& module = "ws_admin");

    bool init() const { return initFunction(nullptr, nullptr, nullptr, nullptr); }
    bool start(const CORE::PropertyBag& startup) const { return params(&startup) && init(); }

    std::wstring failure;
    std::unique_ptr<CORE::library> library;
    CORE::PluginParamsFunction params = nullptr;
    CORE::PluginInitFunction initFunction = nullptr;
    CORE::PluginExitFunction exit = nullptr;
    CORE::PluginDescribeFunction describe = nullptr;  // the main module's only
};

// Started for a scope.
class Started {
  public:
    Started(const std::string& module, const CORE::PropertyBag& startup) : loaded_(module) {
        loaded_.start(startup);
    }
    ~Started() { loaded_.exit(); }
    Started(const Started&) = delete;
    Started& operator=(const Started&) = delete;

  private:
    Loaded loaded_;
};
