// The function of a library that a stand-in of the same name hides.
#pragma once

#include <windows.h>

namespace test {

template <class Function>
Function* hiddenFunction(const wchar_t* library, const char* name) {
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(library), name)));
}

}  // namespace test

// Has the adapters call `standIn` in place of the platform's function, because the linker takes the name that
// they are linked by from here before the library's own. At file scope.
#define WS_STANDS_IN(function, standIn)                   \
    extern "C" {                                          \
    extern const decltype(&function) __imp_##function;    \
    const decltype(&function) __imp_##function = standIn; \
    }                                                     \
    static_assert(true)
