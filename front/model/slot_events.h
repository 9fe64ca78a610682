// The events that C_WaitForSlotEvent tells: a card came into a slot, or went.
#pragma once

#include "front/abi/cryptoki.h"
#include "src/platform/mutex.h"

#include <optional>
#include <set>

namespace front {

class SlotEvents
{
public:
    // Several events of a slot that were not told yet are one.
    void Add(CK_SLOT_ID slot) EXCLUDES(mutex);
    void Forget() EXCLUDES(mutex);

    // The slot of the next event, which has then been told.
    std::optional<CK_SLOT_ID> Take() EXCLUDES(mutex);

private:
    Mutex mutex; // held for moments; no other lock is taken while it is held
    std::set<CK_SLOT_ID> slots GUARDED_BY(mutex);
};

} // namespace front
