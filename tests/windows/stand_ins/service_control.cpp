#include "windows/stand_ins/service_control.h"

#include <cstring>

#include "windows/stand_ins/hidden_function.h"

namespace test {

ConfigQuery configQuery;

namespace {

BOOL WINAPI queryConfig(SC_HANDLE, LPQUERY_SERVICE_CONFIGW config, DWORD size, LPDWORD needed) {
    const std::size_t bytes = (configQuery.dependencies.size() + 1) * sizeof(wchar_t);
    *needed = static_cast<DWORD>(sizeof *config + bytes);
    SetLastError(configQuery.failure ? configQuery.failure : ERROR_INSUFFICIENT_BUFFER);
    if (configQuery.succeedsAtOnce) return TRUE;
    if (configQuery.failure || size < *needed) return FALSE;
    *config = {};
    config->lpDependencies = reinterpret_cast<wchar_t*>(config + 1);
    std::memcpy(config->lpDependencies, configQuery.dependencies.c_str(), bytes);
    return TRUE;
}

template <class Function, class... Arguments>
SC_HANDLE openedHandle(const char* name, Arguments... arguments) {
    const SC_HANDLE handle = hiddenFunction<Function>(L"advapi32.dll", name)(arguments...);
    configQuery.openHandles += handle != nullptr;
    return handle;
}
SC_HANDLE WINAPI openManager(LPCWSTR machine, LPCWSTR database, DWORD access) {
    return openedHandle<decltype(OpenSCManagerW)>("OpenSCManagerW", machine, database, access);
}
SC_HANDLE WINAPI openService(SC_HANDLE manager, LPCWSTR name, DWORD access) {
    return openedHandle<decltype(OpenServiceW)>("OpenServiceW", manager, name, access);
}
BOOL WINAPI closeServiceHandle(SC_HANDLE handle) {
    --configQuery.openHandles;
    return hiddenFunction<decltype(CloseServiceHandle)>(L"advapi32.dll", "CloseServiceHandle")(handle);
}

}  // namespace
}  // namespace test

WS_STANDS_IN(QueryServiceConfigW, test::queryConfig);
WS_STANDS_IN(OpenSCManagerW, test::openManager);
WS_STANDS_IN(OpenServiceW, test::openService);
WS_STANDS_IN(CloseServiceHandle, test::closeServiceHandle);
