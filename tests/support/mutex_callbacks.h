// The four mutex callbacks of an application, which note each of their calls in the script's record:
// "CreateMutex", "LockMutex(1)", "UnlockMutex(1)", "DestroyMutex(1)". Mutexes are numbered from 1 in the
// order of their making, and 0 is the null handle, which is tolerated and locks nothing.
#pragma once

#include "tavrik/cryptoki.h"

#include <thread>

namespace blackbox {

CK_C_INITIALIZE_ARGS MutexArguments();

// What is set below is as at first again, and the next mutex is the first.
void ForgetMutexes();

// What the callbacks answer, CKR_OK at first; CreateMutex still makes its mutex.
void SetMutexAnswer(CK_RV answer);
// CreateMutex leaves the handle alone and only answers.
void LetCreateMutexMakeNothing(bool enabled);
// Whether a mutex of the callbacks is held by anyone now.
bool IsAnyMutexLocked();

// How many threads have locked a mutex or wait for one.
int ThreadsAtMutexes();

} // namespace blackbox
