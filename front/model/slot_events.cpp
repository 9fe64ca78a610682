#include "front/model/slot_events.h"

#include "front/abi/refusal.h"

#include "src/platform/process_end.h"

#include <chrono>

namespace front {
namespace {

constexpr std::chrono::milliseconds timeBetweenLooks{100};

} // namespace

void SlotEvents::Add(CK_SLOT_ID slot)
{
    const MutexLock lock(mutex);
    slots.insert(slot);
}

void SlotEvents::Forget()
{
    const MutexLock lock(mutex);
    slots.clear();
}

std::optional<CK_SLOT_ID> SlotEvents::Take()
{
    const MutexLock lock(mutex);
    Require(!closed, CKR_CRYPTOKI_NOT_INITIALIZED);
    if (slots.empty()) {
        return std::nullopt;
    }
    return slots.extract(slots.begin()).value();
}

void SlotEvents::WaitForNextLook()
{
    const auto nextLook = std::chrono::steady_clock::now() + timeBetweenLooks;
    const PauseOfWork pause;
    MutexLock lock(mutex);
    while (!closed && closing.wait_until(lock.Native(), nextLook) == std::cv_status::no_timeout) {
    }
}

void SlotEvents::Close()
{
    {
        const MutexLock lock(mutex);
        closed = true;
    }
    closing.notify_all();
}

} // namespace front
