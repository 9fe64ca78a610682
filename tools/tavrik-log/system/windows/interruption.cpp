#include "tools/tavrik-log/system/interruption.h"

#include <atomic>

#include <windows.h>

namespace logtool {
namespace {

std::atomic<bool> interrupted{false};

// On a thread of the system's. When the window is closed or the user logs off, the process ends as soon as this returns, and
// some seconds later in any case: it ends by itself meanwhile.
BOOL WINAPI TakeEvent(DWORD event)
{
    interrupted = true;
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        Sleep(INFINITE);
    }
    return TRUE;
}

} // namespace

void TakeInterruptions()
{
    SetConsoleCtrlHandler(nullptr, FALSE); // a parent may have it ignore Ctrl+C
    SetConsoleCtrlHandler(TakeEvent, TRUE);
}

bool IsInterrupted()
{
    return interrupted;
}

} // namespace logtool
