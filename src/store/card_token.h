// One card in one reader.
#pragma once

#include "src/card/card_api.h"
#include "tavrik/cryptoki.h"

#include <map>
#include <string>

// Owns its session with the card, which ends with it at the latest.
struct CardToken
{
    CardToken(uint32_t id, CardSession session, std::string reader);
    ~CardToken(); // ends the card session; what the card side throws there is lost
    CardToken(const CardToken&) = delete;
    CardToken& operator=(const CardToken&) = delete;

    // Begins a transaction on the card, whatever the card makes of it. CKR_OPERATION_ACTIVE, without a call
    // to the card, when one is held already.
    CK_RV StartTransaction();

    // Ends the transaction, whatever the card makes of it. CKR_OPERATION_NOT_INITIALIZED, without a call to
    // the card, when none is held.
    CK_RV StopTransaction();

    // Stops a transaction that is still held and closes the session; does nothing from the second call on.
    // Throws what the card side throws, once both have been tried: the first of the two when both do.
    void EndCardSession();

    // Whether the card itself says that its secure-messaging channel is alive.
    [[nodiscard]] bool IsSecureMessagingActive() const;

    const std::string readerName; // one byte for each character of the reader's name
    const CardSession cardSession;
    const uint32_t tokenId;
    std::map<CK_SLOT_ID, CardKeyInfo>
        keyInfoBySlot;          // filled by the first mechanism list of a slot, then kept
    bool loggedIn = false;      // the user is logged in on this card
    bool inTransaction = false; // held by StartTransaction

private:
    bool cardSessionEnded = false;
};
