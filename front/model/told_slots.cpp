#include "front/model/told_slots.h"

namespace front {

void ToldSlots::TellLength(bool withCardOnly, const SlotIds& list)
{
    const MutexLock lock(mutex);
    ofThreads[{std::this_thread::get_id(), withCardOnly}] = list;
    last[withCardOnly] = list;
}

SlotIds ToldSlots::ListFor(bool withCardOnly, CK_ULONG room, SlotIds current)
{
    const MutexLock lock(mutex);
    auto own = ofThreads.extract({std::this_thread::get_id(), withCardOnly});
    if (current.size() <= room) {
        return current;
    }
    if (!own.empty()) {
        return own.mapped().size() <= room ? std::move(own.mapped()) : current;
    }
    const auto any = last.find(withCardOnly);
    return any != last.end() && any->second.size() <= room ? any->second : current;
}

} // namespace front
