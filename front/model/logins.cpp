#include "front/model/logins.h"

#include "front/abi/refusal.h"

namespace front {

using Duration = LibraryAccess::Duration;

namespace {

// The card side has neither taken the code nor refused it, mostly because another program has the card. The library tells no
// reason.
CK_RV AnswerToRefusedLogin(CK_RV answer)
{
    return answer == CKR_FUNCTION_FAILED ? CKR_DEVICE_ERROR : answer;
}

} // namespace

Logins::Logins(const Library& itsLibrary, Readers& itsReaders, const Sessions& itsSessions,
               LoginTable& itsTable, CardSessions& itsCardSessions)
    : library(itsLibrary), readers(itsReaders), sessions(itsSessions), table(itsTable),
      cardSessions(itsCardSessions)
{
}

CK_RV Logins::RefusalOfSecurityOfficer(const Session& session) const
{
    const SessionCounts counts = sessions.Count(session.slot);
    if (counts.all > counts.readWrite) {
        return CKR_SESSION_READ_ONLY_EXISTS;
    }
    return table.IsLoggedIn(session.slot) ? CKR_USER_ANOTHER_ALREADY_LOGGED_IN : CKR_FUNCTION_NOT_SUPPORTED;
}

CK_RV Logins::LoginUser(const Session& session, const CK_UTF8CHAR* code, CK_ULONG length)
{
    readers.DescribeBeforeWork(session.card.card);
    if (table.IsLoggedIn(session.slot)) {
        // The card may have given up its secure channel, which only a login finds out. It does not wait for a dialog.
        if (!cardSessions.access.LockUnlessLong(Duration::mayBeLong)) {
            return CKR_USER_ALREADY_LOGGED_IN;
        }
        const LibraryAccessLock lock(cardSessions.access, std::adopt_lock);
        return LoginWithAccess(session, code, length);
    }
    const LibraryAccessLock lock(cardSessions.access, Duration::mayBeLong);
    return LoginWithAccess(session, code, length);
}

CK_RV Logins::LoginWithAccess(const Session& session, const CK_UTF8CHAR* code, CK_ULONG length)
{
    Require(session.open, CKR_DEVICE_REMOVED); // the slot may have another card by now
    ObjectsOfSlots read;
    const CK_RV accepted = LoginToCard(session, code, length, read);
    if (accepted == CKR_OK) {
        table.Begin(session, std::move(read));
    }
    return accepted;
}

// Has the card accept the code, and reads what it shows then. A card that does not accept it is as free as if it had
// never been asked, and no slot of it is logged in.
CK_RV Logins::LoginToCard(const Session& session, const CK_UTF8CHAR* code, CK_ULONG length,
                          ObjectsOfSlots& read)
{
    const packed::CK_SLOT_ID card = session.card.card;
    const bool wasLoggedIn = table.IsCardLoggedIn(card);
    try {
        const CK_RV answer = library.Login(cardSessions.ForLogin(session.card), CKU_USER, code, length);
        if (answer == CKR_USER_ALREADY_LOGGED_IN) {
            Require(!table.IsLoggedIn(session.slot), CKR_USER_ALREADY_LOGGED_IN);
            // The card's other slot was logged in to before.
        } else if (answer != CKR_OK) {
            table.EndOfCard(card);
            cardSessions.LeaveCard(card);
            return AnswerToRefusedLogin(cardSessions.AnswerFor(session, answer));
        } else if (wasLoggedIn) {
            // The secure channel of the earlier login was lost, and all that came with it.
            table.EndOfCard(card);
            cardSessions.CloseForWork(card);
        }
        for (const auto& [slot, ofLibrary] : readers.SlotsOfCard(card)) {
            read[slot] = cardSessions.ReadObjects(ofLibrary);
        }
    } catch (...) {
        if (!table.IsCardLoggedIn(card)) {
            cardSessions.LeaveCard(card);
        }
        throw;
    }
    return CKR_OK;
}

void Logins::Logout(const Session& session)
{
    Require(table.IsLoggedIn(session.slot), CKR_USER_NOT_LOGGED_IN); // which no dialog need be waited for
    const LibraryAccessLock lock(cardSessions.access, Duration::brief);
    table.EndOfSession(session);
    LogOutUnusedWithAccess(session.card.card);
}

void Logins::LogOutUnused(packed::CK_SLOT_ID card)
{
    const LibraryAccessLock lock(cardSessions.access, Duration::brief);
    LogOutUnusedWithAccess(card);
}

void Logins::LogOutUnusedWithAccess(packed::CK_SLOT_ID card)
{
    table.EndUnusedOfCard(card);
    if (!table.IsCardLoggedIn(card)) {
        cardSessions.LogOut(card);
    }
}

} // namespace front
