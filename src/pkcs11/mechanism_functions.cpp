// The functions that list the mechanisms of a slot. The list is made at the first call from what the card says of the
// slot's key, and then kept. It differs from what the operations accept, on purpose: CKM_SHA224 and
// CKM_SHA256_RSA_PKCS are missing, and CKM_ECDSA can be in it.
#include "src/pkcs11/entry_frame.h"
#include "src/store/session_records.h"

#include <algorithm>

namespace {

// Key references of the card.
constexpr uint32_t firstRsaReference = 1;
constexpr uint32_t lastRsaReference = 4;
constexpr uint32_t firstEllipticReference = 5;
constexpr uint32_t lastEllipticReference = 6;

bool IsBetween(uint32_t value, uint32_t first, uint32_t last)
{
    return value >= first && value <= last;
}

// Asks the card for the key of a slot, once: the answer, or an empty record for no answer, stays with the
// token. An answer that is there already is not taken again, and gives an empty record too.
CardKeyInfo AskForKeyInfo(const Slot& slot, CardToken& token)
{
    CardKeyInfo keyInfo{};
    if (FindKeyInfo(slot.slotId) == nullptr) {
        const auto getKeyInfo = slot.label == qualifiedLabel ? CardAPI_QES_GetKeyInfo : CardAPI_ES_GetKeyInfo;
        getKeyInfo(token.card.session, 0, &keyInfo, true);
        token.keyInfoBySlot[slot.slotId] = keyInfo;
    }
    return keyInfo;
}

std::vector<CK_MECHANISM_TYPE> MechanismsOfKey(uint32_t keyReference)
{
    std::vector<CK_MECHANISM_TYPE> mechanisms;
    if (IsBetween(keyReference, firstRsaReference, lastRsaReference)) {
        mechanisms.push_back(CKM_RSA_PKCS);
    } else if (IsBetween(keyReference, firstEllipticReference, lastEllipticReference)) {
        mechanisms.push_back(CKM_ECDSA);
    }
    mechanisms.insert(mechanisms.end(), {CKM_SHA_1, CKM_SHA256, CKM_SHA384, CKM_SHA512});
    return mechanisms;
}

} // namespace

CK_RV C_GetMechanismList(CK_SLOT_ID slotID, CK_MECHANISM_TYPE_PTR pMechanismList, CK_ULONG_PTR pulCount)
{
    return EntryFrame("C_GetMechanismList").Require(pulCount != nullptr).Run([&] {
        SlotRecords records;
        const CK_RV found = FindSlotRecords(slotID, records);
        if (found != CKR_OK) {
            return found;
        }
        Slot& slot = *records.slot;
        if (slot.mechanisms.empty()) {
            if (slot.label != qualifiedLabel && slot.label != ordinaryLabel) {
                return CKR_MECHANISM_INVALID;
            }
            slot.mechanisms = MechanismsOfKey(AskForKeyInfo(slot, *records.token).keyReference);
        }
        if (pMechanismList != nullptr) {
            if (*pulCount < slot.mechanisms.size()) {
                return CKR_BUFFER_TOO_SMALL;
            }
            std::copy(slot.mechanisms.begin(), slot.mechanisms.end(), pMechanismList);
        }
        *pulCount = static_cast<CK_ULONG>(slot.mechanisms.size());
        return CKR_OK;
    });
}

CK_RV C_GetMechanismInfo(CK_SLOT_ID slotID, CK_MECHANISM_TYPE type, CK_MECHANISM_INFO_PTR pInfo)
{
    return EntryFrame("C_GetMechanismInfo").Require(pInfo != nullptr).Run([&] {
        if (InternalCache::GetInstance().GetSlot(slotID) == nullptr) {
            return CKR_SLOT_ID_INVALID;
        }
        const auto keyInfo = FindKeyInfo(slotID);
        switch (type) {
        case CKM_RSA_PKCS:
            pInfo->flags = CKF_HW | CKF_SIGN | CKF_VERIFY;
            if (keyInfo != nullptr) { // otherwise the sizes are left as they are
                pInfo->ulMinKeySize = keyInfo->modulusBits;
                pInfo->ulMaxKeySize = keyInfo->modulusBits;
            }
            return CKR_OK;
        case CKM_SHA_1:
        case CKM_SHA224:
        case CKM_SHA256:
        case CKM_SHA384:
        case CKM_SHA512:
            *pInfo = {0, 0, CKF_DIGEST};
            return CKR_OK;
        default:
            return CKR_MECHANISM_INVALID;
        }
    });
}
