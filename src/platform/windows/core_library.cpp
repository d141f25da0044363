#include <windows.h>

#include "framework/core/corestring.h"
#include "framework/core/library.h"

namespace CORE {

std::unique_ptr<library> library::load(const std::wstring& path, std::wstring& failure) {
    // With a full path the libraries beside it are found, wherever the program itself stands.
    const DWORD flags = path.find_first_of(L"\\/") == std::wstring::npos ? 0 : LOAD_WITH_ALTERED_SEARCH_PATH;
    if (HMODULE handle = LoadLibraryExW(path.c_str(), nullptr, flags))
        return std::unique_ptr<library>(new library(handle));
    const DWORD error = GetLastError();
    failure = formatText(L"%s (%u)", wstr::formatError(error), error);
    return nullptr;
}

library::~library() {
    FreeLibrary(static_cast<HMODULE>(handle_));
}

void* library::find(const char* name) const noexcept {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name));
}

}  // namespace CORE
