#include <dlfcn.h>

#include "framework/core/corestring.h"
#include "framework/core/library.h"

namespace CORE {

std::unique_ptr<library> library::load(const std::wstring& path, std::wstring& failure) {
    if (void* handle = dlopen(toUtf8(path).c_str(), RTLD_NOW | RTLD_LOCAL))
        return std::unique_ptr<library>(new library(handle));
    failure = toWide(dlerror());  // which has a reason after a failure
    return nullptr;
}

library::~library() {
    dlclose(handle_);
}

void* library::find(const char* name) const noexcept {
    return dlsym(handle_, name);
}

}  // namespace CORE
