#include "front/model/login_table.h"

#include "front/abi/refusal.h"

#include <algorithm>

namespace front {

bool LoginTable::IsLoggedIn(CK_SLOT_ID slot) const
{
    const MutexLock lock(mutex);
    return loggedIn.contains(slot);
}

bool LoginTable::IsCardLoggedIn(packed::CK_SLOT_ID card) const
{
    const MutexLock lock(mutex);
    return !SlotsOf(card).empty();
}

uint64_t LoginTable::Number(CK_SLOT_ID slot) const
{
    const MutexLock lock(mutex);
    const auto found = numbers.find(slot);
    return found == numbers.end() ? 0 : found->second;
}

void LoginTable::RequireLogin(const Session& session) const
{
    const MutexLock lock(mutex);
    RequireLoginHeld(session);
}

void LoginTable::Begin(const Session& session, ObjectsOfSlots&& ofCard)
{
    const MutexLock lock(mutex);
    Require(session.open, CKR_DEVICE_REMOVED);
    for (auto& [slot, shown] : ofCard) {
        if (slot == session.slot) {
            objects.Replace(slot, std::move(shown));
        } else if (!loggedIn.contains(slot)) {
            std::erase_if(shown, [](const Object& object) { return object.IsPrivate(); });
            objects.Replace(slot, std::move(shown));
        }
    }
    loggedIn[session.slot] = session.card.card;
    ++numbers[session.slot];
}

void LoginTable::EndOfSession(const Session& session)
{
    const MutexLock lock(mutex);
    RequireLoginHeld(session);
    End(session.slot);
}

void LoginTable::EndOfCard(packed::CK_SLOT_ID card)
{
    const MutexLock lock(mutex);
    for (const CK_SLOT_ID slot : SlotsOf(card)) {
        End(slot);
    }
}

void LoginTable::EndUnusedOfCard(packed::CK_SLOT_ID card)
{
    const MutexLock lock(mutex);
    for (const CK_SLOT_ID slot : SlotsOf(card)) {
        if (sessions.Count(slot).all == 0) {
            End(slot);
        }
    }
}

void LoginTable::CardGone(CK_SLOT_ID slot)
{
    const MutexLock lock(mutex);
    loggedIn.erase(slot);
    ++numbers[slot];
    objects.RemoveOfSlot(slot);
}

// A card that goes closes the session first and ends the login then, so they are read in the opposite order.
void LoginTable::RequireLoginHeld(const Session& session) const
{
    const bool isLoggedIn = loggedIn.contains(session.slot);
    Require(session.open, CKR_DEVICE_REMOVED);
    Require(isLoggedIn, CKR_USER_NOT_LOGGED_IN);
}

std::vector<CK_SLOT_ID> LoginTable::SlotsOf(packed::CK_SLOT_ID card) const
{
    std::vector<CK_SLOT_ID> slots;
    for (const auto& [slot, itsCard] : loggedIn) {
        if (itsCard == card) {
            slots.push_back(slot);
        }
    }
    return slots;
}

void LoginTable::End(CK_SLOT_ID slot)
{
    loggedIn.erase(slot);
    ++numbers[slot];
    objects.RemovePrivate(slot);
}

} // namespace front
