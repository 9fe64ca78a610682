#include "front/library/library_mutex.h"

#include "src/platform/mutex.h"
#include "src/platform/never_destroyed.h"

namespace front {
namespace {

// Never destroyed: the library calls back with its mutex until the end of the process.
Mutex*& Current()
{
    static NeverDestroyed<Mutex> atLoad;
    static Mutex* mutex = &atLoad.Get();
    return mutex;
}

thread_local bool passesMutex = false;

packed::CK_RV Create(packed::CK_VOID_PTR_PTR mutex)
{
    *mutex = &Current(); // a handle that is not null; there is only one mutex
    return CKR_OK;
}

packed::CK_RV Destroy(packed::CK_VOID_PTR /*mutex*/)
{
    return CKR_OK;
}

// The library holds its mutex between these two calls. Called with a null handle too, after the library has destroyed its
// mutex.
packed::CK_RV Lock(packed::CK_VOID_PTR /*mutex*/) NO_THREAD_SAFETY_ANALYSIS
{
    if (!passesMutex) {
        Current()->Lock();
    }
    return CKR_OK;
}

packed::CK_RV Unlock(packed::CK_VOID_PTR /*mutex*/) NO_THREAD_SAFETY_ANALYSIS
{
    if (!passesMutex) {
        Current()->Unlock();
    }
    return CKR_OK;
}

} // namespace

packed::CK_C_INITIALIZE_ARGS LibraryMutexArguments()
{
    return {Create, Destroy, Lock, Unlock, 0, nullptr};
}

void RenewLibraryMutex()
{
    Current() = new Mutex; // the old one may be held by a thread that the child doesn't have
}

WithoutLibraryMutex::WithoutLibraryMutex()
{
    passesMutex = true;
}

WithoutLibraryMutex::~WithoutLibraryMutex()
{
    passesMutex = false;
}

} // namespace front
