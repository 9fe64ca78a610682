#include "tests/faults/allocations.h"

#include <botan/mem_ops.h>

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <new>

namespace faults {
namespace {

// Above 0: what the thread allocates is not the module's.
thread_local int outside = 0;

// Of every countdown. A plain mutex, because it must not allocate.
pthread_mutex_t countdownLock = PTHREAD_MUTEX_INITIALIZER;

class CountdownGuard
{
public:
    CountdownGuard() { pthread_mutex_lock(&countdownLock); }
    ~CountdownGuard() { pthread_mutex_unlock(&countdownLock); }
    CountdownGuard(const CountdownGuard&) = delete;
    CountdownGuard& operator=(const CountdownGuard&) = delete;
};

constinit Countdown allocations;
constinit Countdown threads;

// Whether the process makes no pipes.
bool withoutCommands = false;

bool AllocationFails()
{
    return outside <= 0 && allocations.Hits();
}

void* Allocate(std::size_t size)
{
    void* const memory = AllocationFails() ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* AllocateAligned(std::size_t size, std::align_val_t alignment)
{
    const auto step = static_cast<std::size_t>(alignment);
    void* const memory =
        AllocationFails() ? nullptr : std::aligned_alloc(step, ((size + step - 1) / step) * step);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

ModuleAtWork::ModuleAtWork()
{
    --outside;
}

ModuleAtWork::~ModuleAtWork()
{
    ++outside;
}

void BeginTesting()
{
    outside = 1;
}

void LeaveCommandsOut()
{
    withoutCommands = true;
}

void LeaveModule(int change)
{
    outside += change;
}

Countdown& Countdown::OfAllocations()
{
    return allocations;
}

Countdown& Countdown::OfThreads()
{
    return threads;
}

void Countdown::Arm(uint64_t failing, void (*whenFired)())
{
    const CountdownGuard guard;
    armed = true;
    hasFired = false;
    count = 0;
    target = failing;
    fired = whenFired;
}

uint64_t Countdown::Disarm()
{
    const CountdownGuard guard;
    armed = false;
    return count;
}

bool Countdown::Hits()
{
    const CountdownGuard guard;
    if (!armed || ++count != target) {
        return false;
    }
    hasFired = true;
    if (fired != nullptr) {
        fired();
    }
    return true;
}

} // namespace faults

// In the place of those of the C++ library, for every library of this process.
void* operator new(std::size_t size)
{
    return faults::Allocate(size);
}

void* operator new[](std::size_t size)
{
    return faults::Allocate(size);
}

void* operator new(std::size_t size, const std::nothrow_t& /*nothrow*/) noexcept
{
    return faults::AllocationFails() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void* operator new[](std::size_t size, const std::nothrow_t& nothrow) noexcept
{
    return operator new(size, nothrow);
}

void* operator new(std::size_t size, std::align_val_t alignment)
{
    return faults::AllocateAligned(size, alignment);
}

void* operator new[](std::size_t size, std::align_val_t alignment)
{
    return faults::AllocateAligned(size, alignment);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t& /*nothrow*/) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, const std::nothrow_t& /*nothrow*/) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, std::align_val_t /*alignment*/) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept
{
    std::free(memory);
}

namespace Botan {

// In the place of Botan's own, which its memory for secrets goes through.
void* allocate_memory(size_t elems, size_t size)
{
    using Function = void*(size_t, size_t);
    static auto* const original =
        reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "_ZN5Botan15allocate_memoryEmm"));
    if (faults::AllocationFails()) {
        throw std::bad_alloc();
    }
    return original(elems, size);
}

// The same. As Botan takes memory for secrets back, it may allocate some, and ends the process when there is none. No module
// could help that, so these allocations never fail.
void deallocate_memory(void* p, size_t elems, size_t size)
{
    using Function = void(void*, size_t, size_t);
    static auto* const original =
        reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "_ZN5Botan17deallocate_memoryEPvmm"));
    faults::LeaveModule(1);
    original(p, elems, size);
    faults::LeaveModule(-1);
}

} // namespace Botan

extern "C" {
// The sanitizer's function in the place of the system's, in builds that have one.
__attribute__((weak)) int __interceptor_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*),
                                                       void*);

int pipe2(int* pipedes, int flags) noexcept
{
    using Function = int(int*, int);
    if (faults::withoutCommands) {
        errno = EMFILE;
        return -1;
    }
    static auto* const original = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "pipe2"));
    return original(pipedes, flags);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attr, void* (*routine)(void*), void* arg) noexcept
{
    using Function = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    if (faults::Countdown::OfThreads().Hits()) {
        return EAGAIN;
    }
    if (__interceptor_pthread_create != nullptr) {
        return __interceptor_pthread_create(thread, attr, routine, arg);
    }
    static auto* const original = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "pthread_create"));
    return original(thread, attr, routine, arg);
}
}
