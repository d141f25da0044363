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
