// The slots of the library's readers and the tokens in them, as applications see them. What is told is fresh, whatever
// the cards are doing.
#pragma once

#include "front/model/login_table.h"
#include "front/model/slot_events.h"
#include "front/model/slot_table.h"
#include "front/model/waits.h"

#include <condition_variable>
#include <map>
#include <thread>

namespace front {

class Readers
{
public:
    // What is there now is no event.
    Readers(const Library& itsLibrary, Sessions& itsSessions, LoginTable& itsLogins, Waits& itsWaits);

    // Takes over which cards came and went. Asks no card. A card that has gone takes its sessions and its login along.
    void Look() EXCLUDES(looking, mutex);

    // The slots of the moment, in the order of their ids. Leaves the library's line of a list in the log.
    std::vector<CK_SLOT_ID> ListSlots(bool withCardOnly) EXCLUDES(looking, mutex);
    Slot SlotOf(CK_SLOT_ID id) EXCLUDES(looking, mutex);       // refuses an unknown one
    Slot SlotWithCard(CK_SLOT_ID id) EXCLUDES(looking, mutex); // and an empty one
    // The same with what the card is asked for, at the first time.
    Slot DescribedSlot(CK_SLOT_ID id) EXCLUDES(looking, mutex);
    // So that no call has to ask the card about itself while its dialog is open. Does not throw.
    void DescribeBeforeWork(packed::CK_SLOT_ID card) EXCLUDES(mutex);

    // Refuses an unknown slot and an empty one.
    CK_SESSION_HANDLE OpenSession(CK_SLOT_ID slot, bool readWrite) EXCLUDES(looking, mutex);

    // The next event that was not told yet. Blocking, it waits until there is one, or refuses with
    // CKR_CRYPTOKI_NOT_INITIALIZED once waits are over.
    CK_SLOT_ID WaitForEvent(bool blocking) EXCLUDES(looking, mutex);

    [[nodiscard]] bool HasCard(packed::CK_SLOT_ID card) const EXCLUDES(mutex);
    // The slots that show the card, with the library's.
    [[nodiscard]] std::map<CK_SLOT_ID, packed::CK_SLOT_ID> SlotsOfCard(packed::CK_SLOT_ID card) const
        EXCLUDES(mutex);
    // The card's slots whose key also decrypts.
    [[nodiscard]] std::vector<LibrarySlot> DecryptingSlots(packed::CK_SLOT_ID card) const EXCLUDES(mutex);

    // Between the two, no other thread looks at the readers or asks a card about itself.
    void HoldForFork();
    void GoOnAfterFork();

    SlotEvents events;

private:
    [[nodiscard]] std::vector<packed::CK_SLOT_ID> KnownSlots() const EXCLUDES(mutex);
    [[nodiscard]] std::size_t CountKnown() const EXCLUDES(mutex); // with those whose card has gone
    [[nodiscard]] bool Knows(const std::vector<packed::CK_SLOT_ID>& present) const EXCLUDES(mutex);
    void TakeOverSlots() EXCLUDES(looking, mutex);
    void Describe(packed::CK_SLOT_ID card) EXCLUDES(mutex);
    void EndDescription(packed::CK_SLOT_ID card) EXCLUDES(mutex);
    [[nodiscard]] bool IsDescribedByOthers() const REQUIRES(mutex);

    const Library& library;
    Sessions& sessions;
    LoginTable& logins;
    Waits& waits;

    // One change of the slots at a time, so that what is known only gets fresher. Held across calls of the library that ask
    // no card.
    Mutex looking ACQUIRED_BEFORE(mutex);
    // Held for moments. The locks of events, sessions and logins are taken with it, so that no call meets a slot's next card
    // beside what was the last card's.
    mutable Mutex mutex;
    SlotTable slots GUARDED_BY(mutex);
    // By the card's number: the thread that asks it about itself.
    std::map<packed::CK_SLOT_ID, std::thread::id> describing GUARDED_BY(mutex);
    std::condition_variable described;
};

} // namespace front
