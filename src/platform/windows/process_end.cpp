// Windows has ended all other threads before it tells a library of the end of its process, so none is waited
// for.
#include "platform/process_end.h"

WorkBeforeEnd::WorkBeforeEnd() = default;

WorkBeforeEnd::~WorkBeforeEnd() = default;

PauseOfWork::PauseOfWork() : depth(0)
{
    static_cast<void>(depth);
}

PauseOfWork::~PauseOfWork() = default;

void WaitForWorkAtProcessEnd() {}

bool ProcessIsEnding()
{
    return false;
}
