#include "platform/module/module_attach.h"

#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) {
        // It refuses a module with thread-local data; the notifications are then merely superfluous.
        static_cast<void>(DisableThreadLibraryCalls(module));
        wsadmin::onAttach(module);
    }
    return TRUE;
}
