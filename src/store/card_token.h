// One card in one reader.
#pragma once

#include "src/card/card_connection.h"
#include "tavrik/cryptoki.h"

#include <map>
#include <string>
#include <utility>

struct CardToken
{
    CardToken(uint32_t id, CardSession session, std::string reader)
        : readerName(std::move(reader)), tokenId(id), card(session)
    {
    }

    const std::string readerName; // one byte for each character of the reader's name
    const uint32_t tokenId;
    CardConnection card;
    std::map<CK_SLOT_ID, CardKeyInfo>
        keyInfoBySlot;     // filled by the first mechanism list of a slot, then kept
    bool loggedIn = false; // the user is logged in on this card
};
