#include "src/operations/find_object_manager.h"

#include "src/store/internal_cache.h"

void FindObjectManager::Reset()
{
    results.clear();
    active = false;
    cursor = 0;
    filter.clear();
}

void FindObjectManager::SetFilter(const CK_ATTRIBUTE* attributeTemplate, CK_ULONG count)
{
    if (attributeTemplate == nullptr) {
        return;
    }
    for (CK_ULONG i = 0; i < count; ++i) {
        const CK_ATTRIBUTE& record = attributeTemplate[i];
        filter.push_back(std::make_unique<PkcsAttribute>(record.type, CopyValue(record).get()));
    }
}

void FindObjectManager::Search(CK_SLOT_ID slotId)
{
    for (const auto& object : InternalCache::GetInstance().GetObjectsOfSlot(slotId)) {
        if (object->FilterMatches(filter)) {
            results.push_back(object->objectHandle);
        }
    }
}
