// Logins of the user to the card, and their end.
#pragma once

#include "front/model/card_sessions.h"

namespace front {

class Logins
{
public:
    Logins(const Library& itsLibrary, Readers& itsReaders, const Sessions& itsSessions, LoginTable& itsTable,
           CardSessions& itsCardSessions);

    // Why no security officer can log in: the card knows none.
    [[nodiscard]] CK_RV RefusalOfSecurityOfficer(const Session& session) const;

    // A null code has the card side ask for it.
    CK_RV LoginUser(const Session& session, const CK_UTF8CHAR* code, CK_ULONG length)
        EXCLUDES(cardSessions.access);

    void Logout(const Session& session) EXCLUDES(cardSessions.access);

    // Slots of the card without sessions are logged out. With no slot left that is logged in, so is the card, and the
    // library lets go of it.
    void LogOutUnused(packed::CK_SLOT_ID card) EXCLUDES(cardSessions.access);

private:
    CK_RV LoginWithAccess(const Session& session, const CK_UTF8CHAR* code, CK_ULONG length)
        REQUIRES(cardSessions.access);
    CK_RV LoginToCard(const Session& session, const CK_UTF8CHAR* code, CK_ULONG length, ObjectsOfSlots& read)
        REQUIRES(cardSessions.access);
    void LogOutUnusedWithAccess(packed::CK_SLOT_ID card) REQUIRES(cardSessions.access);

    const Library& library;
    Readers& readers;
    const Sessions& sessions;
    LoginTable& table;
    CardSessions& cardSessions;
};

} // namespace front
