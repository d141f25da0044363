// Stands for the system's netsh: writes its folder and its command line, as the system gave it, into the file
// that WS_TEST_LINES names, and ends with the number that its last argument is. With "wait" as its last
// argument it says that it runs, waits until it may go on, and says when it is done.
#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <initializer_list>

namespace {

HANDLE event(const wchar_t* name) {
    return OpenEventW(EVENT_MODIFY_STATE | SYNCHRONIZE, FALSE, name);
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    const wchar_t* const last = arguments[count - 1];
    const bool waits = std::wcscmp(last, L"wait") == 0;
    if (waits) SignalObjectAndWait(event(L"ws_test_started"), event(L"ws_test_go"), 60'000, FALSE);
    wchar_t folder[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, folder);
    std::FILE* const lines = _wfopen(_wgetenv(L"WS_TEST_LINES"), L"ab");
    for (const wchar_t* text : std::initializer_list<const wchar_t*>{folder, L"> ", GetCommandLineW(), L"\n"})
        std::fwrite(text, sizeof *text, std::wcslen(text), lines);
    std::fclose(lines);
    if (waits) SetEvent(event(L"ws_test_done"));
    return static_cast<int>(std::wcstol(last, nullptr, 10));
}
