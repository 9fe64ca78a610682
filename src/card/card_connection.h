// The session with one card.
#pragma once

#include "src/card/card_api.h"

#include <atomic>

// Owns a card session, which ends with it at the latest.
class CardConnection
{
public:
    explicit CardConnection(CardSession openSession);
    ~CardConnection(); // ends the card session; what the card side throws there is lost
    CardConnection(const CardConnection&) = delete;
    CardConnection& operator=(const CardConnection&) = delete;

    // Begins a transaction on the card, whatever the card makes of it. False, without a call to the card, when
    // one is held already.
    bool StartTransaction();

    // Ends the transaction, whatever the card makes of it. False, without a call to the card, when none is held.
    bool StopTransaction();

    // Stops a transaction that is still held and closes the session; does nothing from the second call on.
    // Throws what the card side throws, once both have been tried: the first of the two when both do.
    void End();

    // The session and its transaction stay as they are for good, and nothing more is told to the card: for the unload of
    // the library. End then does nothing.
    void Abandon() { ended = true; }

    // Whether the card itself says that its secure-messaging channel is alive.
    [[nodiscard]] bool IsSecureMessagingActive() const;

    // What the card says of itself. The record is zero before the card is asked, whatever comes of it.
    CardStatus GetTokenInfo(CardTokenInfo& info) const;

    const CardSession session; // stays the same when the session has ended

private:
    // A reader's event can end the session while a call begins or ends its transaction.
    std::atomic<bool> inTransaction{false}; // held by StartTransaction
    std::atomic<bool> ended{false};
};
