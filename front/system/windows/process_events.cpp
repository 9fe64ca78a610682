#include "front/system/process_events.h"

#include <windows.h>

// NOLINTNEXTLINE(readability-identifier-naming): the name that the loader knows
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID processEnds)
{
    if (reason == DLL_PROCESS_ATTACH) {
        front::OnFrontLoad();
    } else if (reason == DLL_PROCESS_DETACH && processEnds == nullptr) {
        front::OnFrontUnload();
    }
    return TRUE;
}
