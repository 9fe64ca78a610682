// Windows has ended all other threads before it tells a library of the end of its process, so none is waited
// for.
#include "src/platform/process_end.h"

void BeginWorkBeforeEnd() {}

void FinishWorkBeforeEnd() {}

int PauseWorkBeforeEnd()
{
    return 0;
}

void ResumeWorkBeforeEnd(int /*depth*/) {}

void WaitForWorkAtProcessEnd() {}

bool ProcessIsEnding()
{
    return false;
}
