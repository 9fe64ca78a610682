#include "src/store/slot.h"

#include "src/store/internal_cache.h"

Slot::Slot(CK_SLOT_ID id, uint32_t ownTokenId, std::string_view ownLabel)
    : slotId(id), tokenId(ownTokenId), label(ownLabel)
{
}

Slot::~Slot()
{
    InternalCache::GetInstance().RemoveObjectsOfSlots({slotId});
}
