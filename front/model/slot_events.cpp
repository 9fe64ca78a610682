#include "front/model/slot_events.h"

namespace front {

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
    if (slots.empty()) {
        return std::nullopt;
    }
    return slots.extract(slots.begin()).value();
}

} // namespace front
