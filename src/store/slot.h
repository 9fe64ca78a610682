// One of the two slots of a card.
#pragma once

#include "tavrik/cryptoki.h"

#include <string>
#include <string_view>
#include <vector>

// The labels choose the key family of the card: QES for the first, ES for the second.
inline constexpr std::string_view qualifiedLabel = "Sig_ZEP";
inline constexpr std::string_view ordinaryLabel = "Sig_EP";

struct Slot
{
    Slot(CK_SLOT_ID id, uint32_t ownTokenId, std::string_view ownLabel)
        : slotId(id), tokenId(ownTokenId), label(ownLabel)
    {
    }

    const CK_SLOT_ID slotId;
    const uint32_t tokenId;
    CK_SLOT_INFO info{}; // as it was when the slot was made
    const std::string label;
    std::vector<CK_MECHANISM_TYPE> mechanisms; // empty until the first C_GetMechanismList
};
