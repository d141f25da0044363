// A dynamic library that the process loads by its path, as a host loads a plug-in.
#pragma once

#include <memory>
#include <string>

#include "framework/core/export.h"

namespace CORE {

class MFWCORE_API library {
  public:
    // Null when it cannot be loaded, with the system's reason in `failure`. A path without a folder is looked
    // up in the system's search path.
    static std::unique_ptr<library> load(const std::wstring& path, std::wstring& failure);
    // Unloads it: none of its code may still run, and no object of it may still be in use.
    ~library();
    library(const library&) = delete;
    library& operator=(const library&) = delete;

    // An exported function by its undecorated name; null when there is none. Good until the library goes.
    template <class Function>
    Function function(const char* name) const noexcept {
        return reinterpret_cast<Function>(find(name));
    }

  private:
    explicit library(void* handle) noexcept : handle_(handle) {}
    void* find(const char* name) const noexcept;

    void* handle_;
};

}  // namespace CORE
