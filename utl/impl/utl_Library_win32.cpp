// The library's entry point on Windows. Loading the library does nothing but refuse the thread
// notifications it has no use for: every start-up step is the client's utl_initialize.
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) {
        DisableThreadLibraryCalls(module);
    }
    return TRUE;
}
