// The functions that list and describe slots and tokens.
#include "src/log/logger.h"
#include "src/objects/copy_blank_padded.h"
#include "src/pkcs11/entry_frame.h"
#include "src/readers/token_description.h"
#include "src/store/session_records.h"

#include <algorithm>

namespace {

constexpr CK_ULONG codeLength = 6; // of a card's codes; not enforced

// The same for every card, on purpose.
constexpr char serialNumber[] = "ffffffff";

void FillTokenInfo(const Slot& slot, const CardToken& token, CK_TOKEN_INFO& info)
{
    info = {};
    CardTokenInfo tokenInfo;
    static_cast<void>(
        token.card.GetTokenInfo(tokenInfo)); // a failure leaves the record zero, and is shown so
    CopyBlankPadded(info.label, sizeof(info.label), slot.label.c_str());
    DescribeCard(tokenInfo, info);
    CopyCardText(tokenInfo.model, info.model);
    CopyBlankPadded(info.serialNumber, sizeof(info.serialNumber), serialNumber);
    info.flags = CKF_LOGIN_REQUIRED | CKF_USER_PIN_INITIALIZED | CKF_PROTECTED_AUTHENTICATION_PATH |
                 CKF_TOKEN_INITIALIZED;
    info.ulMaxPinLen = codeLength;
    info.ulMinPinLen = codeLength;
}

} // namespace

// A slot exists only while its card is there, so the first argument makes no difference.
CK_RV C_GetSlotList(CK_BBOOL /*tokenPresent*/, CK_SLOT_ID_PTR pSlotList, CK_ULONG_PTR pulCount)
{
    constexpr char function[] = "C_GetSlotList";
    return EntryFrame(function).Require(pulCount != nullptr).Run([&] {
        const CK_ULONG places = pSlotList == nullptr ? 0 : *pulCount;
        const auto count =
            static_cast<CK_ULONG>(InternalCache::GetInstance().CopySlotIds({pSlotList, places}));
        *pulCount = count;
        if (pSlotList == nullptr) {
            return CKR_OK;
        }
        if (count > places) {
            return CKR_BUFFER_TOO_SMALL;
        }
        LOG_LINE(LogLevel_Info, function, "SlotList count: %d", static_cast<int>(count));
        return CKR_OK;
    });
}

CK_RV C_GetSlotInfo(CK_SLOT_ID slotID, CK_SLOT_INFO_PTR pInfo)
{
    return EntryFrame("C_GetSlotInfo").Require(pInfo != nullptr).Run([&] {
        const auto slot = InternalCache::GetInstance().GetSlot(slotID);
        if (slot == nullptr) {
            return CKR_SLOT_ID_INVALID;
        }
        *pInfo = slot->info;
        return CKR_OK;
    });
}

CK_RV C_GetTokenInfo(CK_SLOT_ID slotID, CK_TOKEN_INFO_PTR pInfo)
{
    return EntryFrame("C_GetTokenInfo").Require(pInfo != nullptr).Run([&] {
        SlotRecords records;
        const CK_RV found = FindSlotRecords(slotID, records);
        if (found == CKR_OK) {
            FillTokenInfo(*records.slot, *records.token, *pInfo);
        }
        return found;
    });
}
