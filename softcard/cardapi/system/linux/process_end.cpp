#include "softcard/cardapi/system/process_end.h"

#include <pthread.h>

namespace softcard {

bool ThreadsAreGone()
{
    return false;
}

void CallInForkedChildren(void (*renew)())
{
    pthread_atfork(nullptr, nullptr, renew);
}

} // namespace softcard
