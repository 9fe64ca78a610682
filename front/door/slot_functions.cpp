// Slots, tokens and mechanisms.
#include "front/door/boundary.h"

#include <algorithm>

namespace front {
namespace {

// Copies a list of handles or numbers under the rules of the standard.
CK_RV HandOutList(const std::vector<CK_ULONG>& list, CK_ULONG* output, CK_ULONG* count)
{
    const CK_ULONG room = std::exchange(*count, list.size());
    if (output == nullptr) {
        return CKR_OK;
    }
    Require(room >= list.size(), CKR_BUFFER_TOO_SMALL);
    std::copy(list.begin(), list.end(), output);
    return CKR_OK;
}

} // namespace

CK_RV C_GetSlotList(CK_BBOOL tokenPresent, CK_SLOT_ID_PTR pSlotList, CK_ULONG_PTR pulCount)
{
    return InFront([&](Front& front) {
        Require(pulCount != nullptr, CKR_ARGUMENTS_BAD);
        const bool withCardOnly = tokenPresent != CK_FALSE;
        SlotIds list = front.readers.ListSlots(withCardOnly);
        if (pSlotList == nullptr) {
            front.toldSlots.TellLength(withCardOnly, list);
        } else {
            list = front.toldSlots.ListFor(withCardOnly, *pulCount, std::move(list));
        }
        return HandOutList(list, pSlotList, pulCount);
    });
}

CK_RV C_GetSlotInfo(CK_SLOT_ID slotID, CK_SLOT_INFO_PTR pInfo)
{
    return InFront([&](Front& front) -> CK_RV {
        Require(pInfo != nullptr, CKR_ARGUMENTS_BAD);
        const Slot slot = front.readers.SlotOf(slotID);
        *pInfo = slot.facts.slot;
        pInfo->flags = CKF_REMOVABLE_DEVICE | CKF_HW_SLOT | (slot.present ? CKF_TOKEN_PRESENT : 0U);
        return CKR_OK;
    });
}

CK_RV C_GetTokenInfo(CK_SLOT_ID slotID, CK_TOKEN_INFO_PTR pInfo)
{
    return InFront([&](Front& front) -> CK_RV {
        Require(pInfo != nullptr, CKR_ARGUMENTS_BAD);
        *pInfo = front.TokenInfo(slotID);
        return CKR_OK;
    });
}

CK_RV C_WaitForSlotEvent(CK_FLAGS flags, CK_SLOT_ID_PTR pSlot, CK_VOID_PTR pReserved)
{
    return InFront([&](Front& front) -> CK_RV {
        Require(pSlot != nullptr && pReserved == nullptr, CKR_ARGUMENTS_BAD);
        *pSlot = front.readers.WaitForEvent((flags & CKF_DONT_BLOCK) == 0);
        return CKR_OK;
    });
}

CK_RV C_GetMechanismList(CK_SLOT_ID slotID, CK_MECHANISM_TYPE_PTR pMechanismList, CK_ULONG_PTR pulCount)
{
    return InFront([&](Front& front) {
        Require(pulCount != nullptr, CKR_ARGUMENTS_BAD);
        const Slot slot = front.readers.DescribedSlot(slotID);
        return HandOutList(ListedMechanisms(slot.facts), pMechanismList, pulCount);
    });
}

CK_RV C_GetMechanismInfo(CK_SLOT_ID slotID, CK_MECHANISM_TYPE type, CK_MECHANISM_INFO_PTR pInfo)
{
    return InFront([&](Front& front) -> CK_RV {
        Require(pInfo != nullptr, CKR_ARGUMENTS_BAD);
        const Slot slot = front.readers.DescribedSlot(slotID);
        *pInfo = MechanismInfo(type, slot.facts, front.SizesOfKeys(slot));
        return CKR_OK;
    });
}

} // namespace front
