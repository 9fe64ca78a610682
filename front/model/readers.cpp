#include "front/model/readers.h"

#include "front/abi/refusal.h"

#include <algorithm>

namespace front {
namespace {

constexpr std::chrono::milliseconds timeBetweenLooks{100};

} // namespace

Readers::Readers(const Library& itsLibrary, Sessions& itsSessions, LoginTable& itsLogins, Waits& itsWaits)
    : library(itsLibrary), sessions(itsSessions), logins(itsLogins), waits(itsWaits)
{
    Look();
    events.Forget();
}

void Readers::Look()
{
    if (library.HasOtherSlots(KnownSlots())) { // nearly never, and else threads don't wait for one another
        TakeOverSlots();
    }
}

void Readers::TakeOverSlots()
{
    const MutexLock look(looking);
    const std::vector<packed::CK_SLOT_ID> known = KnownSlots();
    if (!library.HasOtherSlots(known)) {
        return; // another thread has looked meanwhile
    }
    const auto present = library.Slots();
    std::vector<SlotTable::Shown> fresh;
    for (const packed::CK_SLOT_ID slot : present) {
        if (std::find(known.begin(), known.end(), slot) == known.end()) {
            if (const auto shown = library.SlotInfo(slot)) {
                fresh.emplace_back(slot, *shown);
            }
        }
    }

    const MutexLock lock(mutex);
    const SlotChanges changes = slots.Update(present, fresh);
    // All sessions of a card first, since a login with one of them shows objects in the card's other slot too.
    for (const CK_SLOT_ID emptied : changes.emptied) {
        sessions.CloseOfSlot(emptied);
    }
    for (const CK_SLOT_ID emptied : changes.emptied) {
        logins.CardGone(emptied);
        events.Add(emptied);
    }
    for (const CK_SLOT_ID filled : changes.filled) {
        events.Add(filled);
    }
}

std::vector<packed::CK_SLOT_ID> Readers::KnownSlots() const
{
    const MutexLock lock(mutex);
    return slots.LibrarySlots();
}

std::size_t Readers::CountKnown() const
{
    const MutexLock lock(mutex);
    return slots.All().size();
}

bool Readers::Knows(const std::vector<packed::CK_SLOT_ID>& present) const
{
    const MutexLock lock(mutex);
    return slots.HasJust(present);
}

// A thread that asks for a card that another thread is asking at this moment waits for that answer. No thread waits for
// another card.
void Readers::Describe(packed::CK_SLOT_ID card)
{
    std::vector<SlotFacts> undescribed;
    {
        MutexLock lock(mutex);
        while (describing.contains(card)) {
            described.wait(lock.Native());
        }
        undescribed = slots.Undescribed(card);
        if (undescribed.empty()) {
            return;
        }
        describing[card] = std::this_thread::get_id();
    }
    try {
        for (SlotFacts& facts : undescribed) {
            if (library.Describe(facts)) {
                const MutexLock lock(mutex);
                slots.Describe(facts);
            }
        }
    } catch (...) {
        EndDescription(card);
        throw;
    }
    EndDescription(card);
}

void Readers::EndDescription(packed::CK_SLOT_ID card)
{
    const MutexLock lock(mutex);
    describing.erase(card);
    described.notify_all();
}

void Readers::DescribeBeforeWork(packed::CK_SLOT_ID card)
{
    try {
        Describe(card);
    } catch (...) {
        return; // a call that needs to know asks again
    }
}

std::vector<CK_SLOT_ID> Readers::ListSlots(bool withCardOnly)
{
    if (!Knows(library.Slots(CountKnown()))) {
        TakeOverSlots();
    }
    std::vector<CK_SLOT_ID> ids;
    const MutexLock lock(mutex);
    ids.reserve(slots.All().size());
    for (const Slot& slot : slots.All()) {
        if (slot.present || !withCardOnly) {
            ids.push_back(slot.id);
        }
    }
    return ids;
}

Slot Readers::SlotOf(CK_SLOT_ID id)
{
    Look();
    const MutexLock lock(mutex);
    const Slot* slot = slots.Find(id);
    Require(slot != nullptr, CKR_SLOT_ID_INVALID);
    return *slot;
}

Slot Readers::SlotWithCard(CK_SLOT_ID id)
{
    Slot slot = SlotOf(id);
    Require(slot.present, CKR_TOKEN_NOT_PRESENT);
    return slot;
}

Slot Readers::DescribedSlot(CK_SLOT_ID id)
{
    Slot slot = SlotWithCard(id);
    if (!slot.described) {
        Describe(slot.facts.librarySlot.card);
        const MutexLock lock(mutex);
        slot = *slots.Find(id);
        Require(slot.described && slot.present, CKR_TOKEN_NOT_PRESENT); // it has gone meanwhile
    }
    return slot;
}

CK_SESSION_HANDLE Readers::OpenSession(CK_SLOT_ID slot, bool readWrite)
{
    static_cast<void>(SlotWithCard(slot));
    const MutexLock lock(mutex);
    const Slot* opened = slots.Find(slot);
    Require(opened->present, CKR_TOKEN_NOT_PRESENT);
    return sessions.Open(slot, opened->facts.librarySlot, readWrite)->handle;
}

CK_SLOT_ID Readers::WaitForEvent(bool blocking)
{
    while (true) {
        Look();
        Require(!waits.AreOver(), CKR_CRYPTOKI_NOT_INITIALIZED);
        if (const auto event = events.Take()) {
            return *event;
        }
        Require(blocking, CKR_NO_EVENT);
        waits.Until(std::chrono::steady_clock::now() + timeBetweenLooks);
    }
}

bool Readers::HasCard(packed::CK_SLOT_ID card) const
{
    const MutexLock lock(mutex);
    return !slots.OfCard(card).empty();
}

std::map<CK_SLOT_ID, packed::CK_SLOT_ID> Readers::SlotsOfCard(packed::CK_SLOT_ID card) const
{
    const MutexLock lock(mutex);
    std::map<CK_SLOT_ID, packed::CK_SLOT_ID> found;
    for (const Slot* slot : slots.OfCard(card)) {
        found.emplace(slot->id, slot->facts.librarySlot.id);
    }
    return found;
}

std::vector<LibrarySlot> Readers::DecryptingSlots(packed::CK_SLOT_ID card) const
{
    const MutexLock lock(mutex);
    std::vector<LibrarySlot> decrypting;
    for (const Slot* slot : slots.OfCard(card)) {
        if (slot->facts.decrypts) {
            decrypting.push_back(slot->facts.librarySlot);
        }
    }
    return decrypting;
}

bool Readers::IsDescribedByOthers() const
{
    return std::any_of(describing.begin(), describing.end(),
                       [](const auto& one) { return one.second != std::this_thread::get_id(); });
}

// What is locked here is unlocked by GoOnAfterFork, and never in the child, which leaves all of this where it is.
void Readers::HoldForFork() NO_THREAD_SAFETY_ANALYSIS
{
    looking.Lock();
    MutexLock lock(mutex);
    while (IsDescribedByOthers()) {
        described.wait(lock.Native());
    }
    static_cast<void>(lock.Native().release());
}

void Readers::GoOnAfterFork() NO_THREAD_SAFETY_ANALYSIS
{
    mutex.Unlock();
    looking.Unlock();
}

} // namespace front
