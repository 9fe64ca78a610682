// One session on an inserted card, with what its user has been authorised to.
#pragma once

#include "softcard/card/card_access.h"
#include "softcard/card/card_store.h"
#include "softcard/card/reader_directory.h"
#include "softcard/cardapi/key_operations.h"
#include "src/platform/mutex.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace softcard {

// All members can be called on several threads at once.
class Session
{
public:
    Session(Card inserted, Reader insertedIn) : card(std::move(inserted)), reader(std::move(insertedIn)) {}

    [[nodiscard]] const Card& InsertedCard() const { return card; }
    [[nodiscard]] const Reader& InsertedIn() const { return reader; }

    // Opens the family's keys to this session: the ordinary ones as long as it lives, which is what secure
    // messaging stands for here, the qualified ones for one signature. False when the session has ended
    // meanwhile. All of it ends when the card breaks the channel.
    [[nodiscard]] bool Authorize(KeyFamily family, OpenedKeys keys);
    void Withdraw(KeyFamily family);
    [[nodiscard]] bool HasSecureMessaging() const;

    // The keys that may be used now, nothing without authorisation. Asking for the qualified ones uses them
    // up.
    [[nodiscard]] std::optional<OpenedKeys> OrdinaryKeys() const;
    [[nodiscard]] std::optional<OpenedKeys> TakeQualifiedKeys();

    // A transaction keeps others from starting one on the same card, in this process or another, and other
    // processes from using its codes and keys. Both throw CardError when it cannot be.
    void StartTransaction();
    void StopTransaction();

    // Forgets every authorisation and ends the transaction.
    void End();
    [[nodiscard]] bool HasEnded() const;

private:
    // With the mark that they were opened under.
    [[nodiscard]] std::pair<std::optional<OpenedKeys>, std::string> ExchangeQualifiedKeys();

    const Card card;
    const Reader reader;
    mutable Mutex mutex; // held for moments: no file is read meanwhile
    bool ended GUARDED_BY(mutex) = false;
    std::optional<OpenedKeys> ordinaryKeys GUARDED_BY(mutex);
    std::optional<OpenedKeys> qualifiedKeys GUARDED_BY(mutex);
    std::string channelMark GUARDED_BY(mutex); // under which the keys were opened
    std::unique_ptr<CardTransaction> transaction GUARDED_BY(mutex);
};

} // namespace softcard
