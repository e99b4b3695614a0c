// Quarn.dll starts and ends itself as processes attach and detach; thread events do nothing.
#include <quarn/Root.h>

#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH)
        Quarn::InitTerm::init();
    else if (reason == DLL_PROCESS_DETACH)
        Quarn::InitTerm::exit();
    return TRUE;
}
