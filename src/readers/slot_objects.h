// Makes the objects of a slot and puts them into the store. Nothing is made for a slot that is not, or no longer, there.
#pragma once

#include "src/card/card_api.h"
#include "tavrik/cryptoki.h"

#include <cstdint>

// Reads the certificates of a slot from the card and makes a certificate and a private key object of each. A failure shows
// only in the log and in the slot having no objects.
void CreateSlotObjects(CK_SLOT_ID slotId);

// Makes one public key object, whose modulus is big-endian in `keyInfo` and whose CKA_VERIFY is the byte `verify`. Returns
// its handle, or 0 when there is no such slot.
CK_OBJECT_HANDLE AddPublicKeyObject(CK_SLOT_ID slotId, const CardKeyInfo& keyInfo, CK_BBOOL verify);
