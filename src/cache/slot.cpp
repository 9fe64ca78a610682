#include "cache/slot.h"

#include "cache/internal_cache.h"

Slot::Slot(CK_SLOT_ID id, uint32_t ownTokenId, std::string_view ownLabel)
    : slotId(id), tokenId(ownTokenId), label(ownLabel)
{
}

Slot::~Slot()
{
    InternalCache::GetInstance().RemoveObjectsOfSlots({slotId});
}
