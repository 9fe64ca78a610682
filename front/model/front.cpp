#include "front/model/front.h"

#include "front/abi/refusal.h"

namespace front {

Front::Front(const Library& started) : library(started), info(library.Info()) {}

CK_TOKEN_INFO Front::TokenInfo(CK_SLOT_ID id)
{
    CK_TOKEN_INFO token = readers.DescribedSlot(id).facts.token;
    token.flags |= CKF_RNG | CKF_WRITE_PROTECTED;
    token.ulMaxSessionCount = CK_EFFECTIVELY_INFINITE;
    token.ulMaxRwSessionCount = CK_EFFECTIVELY_INFINITE;
    for (CK_ULONG* memory : {&token.ulTotalPublicMemory, &token.ulFreePublicMemory,
                             &token.ulTotalPrivateMemory, &token.ulFreePrivateMemory}) {
        *memory = CK_UNAVAILABLE_INFORMATION;
    }
    const SessionCounts counts = sessions.Count(id);
    token.ulSessionCount = counts.all;
    token.ulRwSessionCount = counts.readWrite;
    return token;
}

KeySizes Front::SizesOfKeys(const Slot& slot) const
{
    if (slot.facts.keyBits != 0) {
        return {slot.facts.keyBits, slot.facts.keyBits};
    }
    return objects.SizesOfKeys(slot.id);
}

std::shared_ptr<Session> Front::FindSession(CK_SESSION_HANDLE handle)
{
    auto session = sessions.Find(handle);
    Require(session != nullptr, CKR_SESSION_HANDLE_INVALID);
    // A card that has gone has closed its sessions.
    if (!library.HasSlot(session->card.id)) {
        readers.Look();
    }
    return session;
}

std::shared_ptr<Session> Front::FindOpenSession(CK_SESSION_HANDLE handle)
{
    auto session = FindSession(handle);
    Require(session->open, CKR_SESSION_HANDLE_INVALID);
    return session;
}

SessionUse Front::Use(CK_SESSION_HANDLE handle)
{
    return SessionUse(FindSession(handle));
}

CK_SESSION_INFO Front::InfoOf(CK_SESSION_HANDLE handle)
{
    const auto session = FindOpenSession(handle);
    CK_SESSION_INFO told{};
    told.slotID = session->slot;
    told.flags = session->readWrite ? CKF_SERIAL_SESSION | CKF_RW_SESSION : CKF_SERIAL_SESSION;
    if (loginTable.IsLoggedIn(session->slot)) {
        told.state = session->readWrite ? CKS_RW_USER_FUNCTIONS : CKS_RO_USER_FUNCTIONS;
    } else {
        told.state = session->readWrite ? CKS_RW_PUBLIC_SESSION : CKS_RO_PUBLIC_SESSION;
    }
    return told;
}

bool Front::IsAtCard(CK_SESSION_HANDLE handle, CK_FLAGS operations)
{
    return (FindOpenSession(handle)->atCard & operations) != 0;
}

void Front::CloseSession(Session& session)
{
    Require(sessions.Close(session), CKR_SESSION_HANDLE_INVALID);
    objects.RemoveOfSession(session);
    const bool wasTheLast = sessions.Count(session.slot).all == 0;
    const bool isToLogOut = wasTheLast && loginTable.IsLoggedIn(session.slot);
    cardSessions.Drop(session);
    if (isToLogOut) {
        logins.LogOutUnused(session.card.card);
    }
}

void Front::CloseAllSessions(CK_SLOT_ID slot)
{
    static_cast<void>(readers.SlotWithCard(slot));
    for (const auto& one : sessions.OfSlot(slot)) {
        try {
            const SessionUse session(one);
            CloseSession(*session);
        } catch (const Refusal&) {
            continue; // another thread has closed it
        }
    }
}

// What is locked here is unlocked by GoOnAfterFork, and never in the child, which leaves all of this where it is.
void Front::HoldForFork() NO_THREAD_SAFETY_ANALYSIS
{
    accessHeldForFork = cardSessions.access.LockForFork();
    readers.HoldForFork();
}

void Front::GoOnAfterFork() NO_THREAD_SAFETY_ANALYSIS
{
    readers.GoOnAfterFork();
    if (accessHeldForFork) {
        cardSessions.access.Unlock();
    }
}

} // namespace front
