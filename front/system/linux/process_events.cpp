#include "front/system/process_events.h"

#include <pthread.h>

namespace front {
namespace {

[[gnu::constructor]] void Loaded()
{
    OnFrontLoad();
    pthread_atfork(BeforeFork, AfterForkInParent, AfterForkInChild);
}

// With dlclose, and at the end of the process.
[[gnu::destructor]] void Unloaded()
{
    OnFrontUnload();
}

} // namespace
} // namespace front
