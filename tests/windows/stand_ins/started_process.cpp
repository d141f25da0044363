#include "windows/stand_ins/started_process.h"

#include "windows/stand_ins/hidden_function.h"

namespace test {

StartedProcess started;

namespace {

BOOL WINAPI startProcess(LPCWSTR program, LPWSTR commandLine, LPSECURITY_ATTRIBUTES ofProcess,
                         LPSECURITY_ATTRIBUTES ofThread, BOOL inherit, DWORD flags, LPVOID environment,
                         LPCWSTR folder, LPSTARTUPINFOW startup, LPPROCESS_INFORMATION process) {
    started.program = program;
    started.commandLine = commandLine;
    SetLastError(started.failure);
    if (started.failure != ERROR_SUCCESS) return FALSE;
    const BOOL done = hiddenFunction<decltype(CreateProcessW)>(L"kernel32.dll", "CreateProcessW")(
        program, commandLine, ofProcess, ofThread, inherit, flags, environment, folder, startup, process);
    started.open = {process->hProcess, process->hThread};
    return done;
}

BOOL WINAPI closeHandle(HANDLE handle) {
    started.open.erase(handle);
    return hiddenFunction<decltype(CloseHandle)>(L"kernel32.dll", "CloseHandle")(handle);
}

}  // namespace
}  // namespace test

WS_STANDS_IN(CreateProcessW, test::startProcess);
WS_STANDS_IN(CloseHandle, test::closeHandle);
