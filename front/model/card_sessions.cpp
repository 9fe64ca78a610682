#include "front/model/card_sessions.h"

#include "front/abi/refusal.h"
#include "front/library/library_session.h"

namespace front {

CardSessions::CardSessions(const Library& itsLibrary, const Readers& itsReaders, const Sessions& itsSessions,
                           const LoginTable& itsLogins)
    : library(itsLibrary), readers(itsReaders), sessions(itsSessions), logins(itsLogins)
{
}

packed::CK_SESSION_HANDLE CardSessions::ForLogin(const LibrarySlot& slot)
{
    const auto known = forLogin.find(slot.card);
    if (known != forLogin.end()) {
        return known->second;
    }
    std::erase_if(forLogin, [this](const auto& one) { return !readers.HasCard(one.first); });
    return forLogin[slot.card] = library.OpenSession(slot.id);
}

packed::CK_SESSION_HANDLE CardSessions::ForWork(Session& session)
{
    logins.RequireLogin(session);
    if (session.librarySession == 0) {
        session.librarySession = library.OpenSession(session.card.id);
    }
    return session.librarySession;
}

void CardSessions::Drop(Session& session)
{
    if (session.librarySession != 0) {
        const LibraryAccessLock lock(access, LibraryAccess::Duration::brief);
        if (const auto closed = session.librarySession.exchange(0)) {
            library.CloseSession(closed);
        }
    }
}

void CardSessions::CloseForWork(packed::CK_SLOT_ID card)
{
    for (const auto& session : sessions.OfCard(card)) {
        if (const auto closed = session->librarySession.exchange(0)) {
            library.CloseSession(closed);
        }
    }
}

void CardSessions::LeaveCard(packed::CK_SLOT_ID card)
{
    CloseForWork(card);
    if (const auto closed = forLogin.extract(card)) {
        library.CloseSession(closed.mapped());
    }
}

void CardSessions::LogOut(packed::CK_SLOT_ID card)
{
    const auto session = forLogin.find(card);
    if (session == forLogin.end()) {
        return;
    }
    try {
        library.Logout(session->second);
    } catch (...) {
        LeaveCard(card);
        throw;
    }
    LeaveCard(card);
}

std::vector<Object> CardSessions::ReadObjects(packed::CK_SLOT_ID slot) const
{
    const LibrarySession session(library, slot);
    LibraryObjects read;
    for (const packed::CK_OBJECT_HANDLE object : library.Objects(session.Handle())) {
        read.emplace_back(object, library.Read(session.Handle(), object));
    }
    return ObjectsOfCard(read);
}

CK_RV CardSessions::AnswerFor(const Session& session, CK_RV answer) const
{
    if (!library.HasSlot(session.card.id)) {
        return CKR_DEVICE_REMOVED; // during the call
    }
    switch (answer) {
    // About handles and slots of the library's own, or a dialog that came to no result.
    case CKR_SESSION_HANDLE_INVALID:
    case CKR_SLOT_ID_INVALID:
    case CKR_TOKEN_NOT_PRESENT:
    case CKR_KEY_HANDLE_INVALID:
    case CKR_TOKEN_NOT_RECOGNIZED:
        return CKR_FUNCTION_FAILED;
    default:
        return answer;
    }
}

} // namespace front
