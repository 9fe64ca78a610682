#include "src/platform/platform.h"
#include "src/platform/windows/unloading.h"

#include <windows.h>

std::atomic<bool> libraryIsUnloading{false};

// NOLINTNEXTLINE(readability-identifier-naming): the name that the loader knows
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID processEnds)
{
    if (reason == DLL_PROCESS_ATTACH) {
        OnLibraryLoad();
    } else if (reason == DLL_PROCESS_DETACH) {
        libraryIsUnloading = true;
        OnLibraryUnload(processEnds != nullptr ? OtherThreads::wereKilled : OtherThreads::goOn);
    }
    return TRUE;
}

void Platform::ArmUnloadNotification()
{
    // The loader tells of the unload by itself, and of the libraries that came later only afterwards.
}
