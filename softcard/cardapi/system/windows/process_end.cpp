#include "softcard/cardapi/system/process_end.h"

#include <windows.h>

// NOLINTNEXTLINE(readability-identifier-naming): the names that Windows knows
extern "C" BOOLEAN NTAPI RtlDllShutdownInProgress(void);

// A host's thread can still be waiting for reader events when the host lets go of the library, so the library
// stays. NOLINTNEXTLINE(readability-identifier-naming)
extern "C" BOOL WINAPI DllMain(HINSTANCE /*library*/, DWORD reason, LPVOID /*reserved*/)
{
    if (reason == DLL_PROCESS_ATTACH) {
        HMODULE self = nullptr;
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                           reinterpret_cast<LPCWSTR>(&DllMain), &self);
    }
    return TRUE;
}

namespace softcard {

bool ThreadsAreGone()
{
    return RtlDllShutdownInProgress() != FALSE;
}

void CallInForkedChildren(void (* /*renew*/)()) {}

} // namespace softcard
