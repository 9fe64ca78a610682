// The sessions that the front has with the library: one that keeps a card's login, and one for each session of an
// application that had the card work.
#pragma once

#include "front/model/library_access.h"
#include "front/model/readers.h"

#include <map>

namespace front {

class CardSessions
{
public:
    CardSessions(const Library& itsLibrary, const Readers& itsReaders, const Sessions& itsSessions,
                 const LoginTable& itsLogins);

    // The session that keeps the card's login as long as a slot of the card is logged in. Opened when there is none.
    packed::CK_SESSION_HANDLE ForLogin(const LibrarySlot& slot) REQUIRES(access);

    // The session for the work of this one. Opened when there is none. Refuses with CKR_DEVICE_REMOVED when the session has
    // closed with its card, and with CKR_USER_NOT_LOGGED_IN when its slot is not logged in.
    packed::CK_SESSION_HANDLE ForWork(Session& session) REQUIRES(access);

    // The library's session of this one is closed, and with it what it has begun or is authorised to.
    void Drop(Session& session) EXCLUDES(access);
    // The same for all sessions of the card.
    void CloseForWork(packed::CK_SLOT_ID card) REQUIRES(access);

    // The library has no session on the card any more, and so no transaction.
    void LeaveCard(packed::CK_SLOT_ID card) REQUIRES(access);
    // The same after the card's logout. Does nothing for a card that has no login.
    void LogOut(packed::CK_SLOT_ID card) REQUIRES(access);

    // The objects of the slot as they are now. Private ones need the card's login.
    [[nodiscard]] std::vector<Object> ReadObjects(packed::CK_SLOT_ID slot) const REQUIRES(access);

    // The library's answer as applications are told it.
    [[nodiscard]] CK_RV AnswerFor(const Session& session, CK_RV answer) const REQUIRES(access);

    // Held across calls of the library that a card or its dialog may make long. Taken before every other lock but that
    // of the session at work.
    LibraryAccess access;

private:
    const Library& library;
    const Readers& readers;
    const Sessions& sessions;
    const LoginTable& logins;
    std::map<packed::CK_SLOT_ID, packed::CK_SESSION_HANDLE>
        forLogin GUARDED_BY(access); // by the card's number
};

} // namespace front
