// What the stand-ins of the system's programs share.
#pragma once

#include <windows.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>

// The test's folder.
inline std::filesystem::path testFolder() {
    return _wgetenv(L"WS_TEST_LAYER_FOLDER");
}

// If WS_TEST_HANGS names the program, it says so with the file "hangs", and does no more than wait until that
// is gone.
inline void hangWhereAsked(std::wstring_view program) {
    const wchar_t* const hanging = _wgetenv(L"WS_TEST_HANGS");
    if (!hanging || hanging != program) return;
    const auto file = testFolder() / "hangs";
    std::ofstream{file};
    while (std::filesystem::exists(file)) Sleep(100);
    std::exit(EXIT_FAILURE);
}
