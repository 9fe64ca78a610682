// What the front knows between C_Initialize and C_Finalize. Calls use its parts by themselves; what stands here is about
// several of them.
//
// Locks are taken in this order: that of the session at work; the access to the library; looking, then mutex of Readers;
// that of LoginTable; those of Sessions, Objects, SlotEvents and Waits, with which no other is taken.
#pragma once

#include "front/model/card_work.h"
#include "front/model/logins.h"
#include "front/model/told_slots.h"

namespace front {

class Front
{
public:
    // The library has been started.
    explicit Front(const Library& started);

    [[nodiscard]] const CK_INFO& Info() const { return info; } // of the library
    CK_TOKEN_INFO TokenInfo(CK_SLOT_ID id);
    // In bits. What the card does not tell is known once the slot's keys have been read, and 0 until then.
    [[nodiscard]] KeySizes SizesOfKeys(const Slot& slot) const;

    SessionUse Use(CK_SESSION_HANDLE handle);
    // These two do not wait for a call that is at work in the session.
    CK_SESSION_INFO InfoOf(CK_SESSION_HANDLE handle);
    // Whether the card is at work for one of these operations (CKF_SIGN, CKF_DECRYPT) of the session.
    bool IsAtCard(CK_SESSION_HANDLE handle, CK_FLAGS operations);
    void CloseSession(Session& session);
    void CloseAllSessions(CK_SLOT_ID slot);

    // Between the two, no other thread calls the library, except in a dialog.
    void HoldForFork();
    void GoOnAfterFork();

private:
    std::shared_ptr<Session> FindSession(CK_SESSION_HANDLE handle);
    std::shared_ptr<Session> FindOpenSession(CK_SESSION_HANDLE handle);

    const Library& library;
    const CK_INFO info;
    bool accessHeldForFork = false;

public:
    Waits waits;
    Sessions sessions;
    Objects objects;
    LoginTable loginTable{sessions, objects};
    Readers readers{library, sessions, loginTable, waits};
    CardSessions cardSessions{library, readers, sessions, loginTable};
    Logins logins{library, readers, sessions, loginTable, cardSessions};
    CardWork cardWork{library, readers, loginTable, cardSessions};
    ToldSlots toldSlots;
};

} // namespace front
