// The events that C_WaitForSlotEvent tells: a card came into a slot, or went.
#pragma once

#include "front/abi/cryptoki.h"
#include "src/platform/mutex.h"

#include <condition_variable>
#include <optional>
#include <set>

namespace front {

class SlotEvents
{
public:
    // Several events of a slot that were not told yet are one.
    void Add(CK_SLOT_ID slot) EXCLUDES(mutex);
    void Forget() EXCLUDES(mutex);

    // The slot of the next event, which has then been told. Refuses with CKR_CRYPTOKI_NOT_INITIALIZED once closed.
    std::optional<CK_SLOT_ID> Take() EXCLUDES(mutex);

    // Waits for the moment of the next look at the readers, or for the close.
    void WaitForNextLook() EXCLUDES(mutex);

    // Ends all waits.
    void Close() EXCLUDES(mutex);

private:
    Mutex mutex; // held for moments; no other lock is taken while it is held
    std::condition_variable closing;
    bool closed GUARDED_BY(mutex) = false;
    std::set<CK_SLOT_ID> slots GUARDED_BY(mutex);
};

} // namespace front
