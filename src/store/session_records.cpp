#include "src/store/session_records.h"

CK_RV FindSlotRecords(CK_SLOT_ID slotId, SlotRecords& records)
{
    const auto& cache = InternalCache::GetInstance();
    records.slot = cache.GetSlot(slotId);
    if (records.slot == nullptr) {
        return CKR_SLOT_ID_INVALID;
    }
    records.token = cache.GetCardToken(records.slot->tokenId);
    return records.token == nullptr ? CKR_TOKEN_NOT_PRESENT : CKR_OK;
}

CK_RV FindSessionRecords(CK_SESSION_HANDLE handle, SessionRecords& records)
{
    const auto& cache = InternalCache::GetInstance();
    records.session = cache.GetSession(handle);
    if (records.session == nullptr) {
        return CKR_SESSION_HANDLE_INVALID;
    }
    return FindSlotRecords(records.session->slotId, records);
}
