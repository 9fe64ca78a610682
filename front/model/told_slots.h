// What C_GetSlotList tells a caller that asks for the length first and for the list then, while cards come.
#pragma once

#include "front/abi/cryptoki.h"
#include "src/platform/mutex.h"

#include <map>
#include <thread>
#include <utility>
#include <vector>

namespace front {

using SlotIds = std::vector<CK_SLOT_ID>;

class ToldSlots
{
public:
    // The length of the list was told to the calling thread.
    void TellLength(bool withCardOnly, const SlotIds& list) EXCLUDES(mutex);

    // The list for a buffer of so many entries: the current one, or, when that has too little room, the one
    // whose length was told: to this thread, or else to any. The current one again when that doesn't fit
    // either.
    SlotIds ListFor(bool withCardOnly, CK_ULONG room, SlotIds current) EXCLUDES(mutex);

private:
    using Asker = std::pair<std::thread::id, bool>;

    Mutex mutex;                                          // held for moments
    std::map<Asker, SlotIds> ofThreads GUARDED_BY(mutex); // until the thread has asked for its list
    std::map<bool, SlotIds> last GUARDED_BY(mutex);
};

} // namespace front
