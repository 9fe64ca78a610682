// Looks up a session or a slot together with the records that it depends on.
#pragma once

#include "src/store/internal_cache.h"

#include <memory>

struct SlotRecords
{
    std::shared_ptr<Slot> slot;
    std::shared_ptr<CardToken> token;
};

// Looks up the slot, then its token. Returns CKR_SLOT_ID_INVALID or CKR_TOKEN_NOT_PRESENT for the first
// that is missing.
CK_RV FindSlotRecords(CK_SLOT_ID slotId, SlotRecords& records);

struct SessionRecords : SlotRecords
{
    std::shared_ptr<Session> session;
};

// Looks up the session, then its slot, then the slot's token. Returns CKR_SESSION_HANDLE_INVALID,
// CKR_SLOT_ID_INVALID or CKR_TOKEN_NOT_PRESENT for the first that is missing.
CK_RV FindSessionRecords(CK_SESSION_HANDLE handle, SessionRecords& records);
