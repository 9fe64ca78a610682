#include "cache/session_records.h"

CK_RV FindSessionRecords(CK_SESSION_HANDLE handle, SessionRecords& records)
{
    const auto& cache = InternalCache::GetInstance();
    records.session = cache.GetSession(handle);
    if (records.session == nullptr) {
        return CKR_SESSION_HANDLE_INVALID;
    }
    records.slot = cache.GetSlot(records.session->slotId);
    if (records.slot == nullptr) {
        return CKR_SLOT_ID_INVALID;
    }
    records.token = cache.GetCardToken(records.slot->tokenId);
    if (records.token == nullptr) {
        return CKR_TOKEN_NOT_PRESENT;
    }
    return CKR_OK;
}
