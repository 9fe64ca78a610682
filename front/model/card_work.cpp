#include "front/model/card_work.h"

#include "front/abi/refusal.h"
#include "front/library/library_session.h"
#include "front/model/rsa_public.h"

namespace front {
namespace {

// Says that the card works for an operation of the session, for as long as that takes.
class WorkOfCard
{
public:
    WorkOfCard(Session& itsSession, CK_FLAGS operation) : session(itsSession) { session.atCard = operation; }
    ~WorkOfCard() { session.atCard = 0; }
    WorkOfCard(const WorkOfCard&) = delete;
    WorkOfCard& operator=(const WorkOfCard&) = delete;

private:
    Session& session;
};

} // namespace

CardWork::CardWork(const Library& itsLibrary, const Readers& itsReaders, LoginTable& itsLogins,
                   CardSessions& itsCardSessions)
    : library(itsLibrary), readers(itsReaders), logins(itsLogins), cardSessions(itsCardSessions)
{
}

CK_RV CardWork::Authorise(Session& session, const CK_UTF8CHAR* code, CK_ULONG length)
{
    Require(FlagOf(session.sign->key->attributes, CKA_ALWAYS_AUTHENTICATE), CKR_OPERATION_NOT_INITIALIZED);
    Require(!session.sign->authorised, CKR_USER_ALREADY_LOGGED_IN);
    const WorkOfCard work(session, CKF_SIGN);
    const LibraryAccessLock lock(cardSessions.access, LibraryAccess::Duration::mayBeLong);
    const CK_RV accepted = library.Login(cardSessions.ForWork(session), CKU_CONTEXT_SPECIFIC, code, length);
    session.sign->authorised = accepted == CKR_OK;
    return AnswerFor(session, accepted);
}

Bytes CardWork::Sign(Session& session, const Object& key, const Bytes& data)
{
    const WorkOfCard work(session, CKF_SIGN);
    Bytes signature;
    try {
        const LibraryAccessLock lock(cardSessions.access, LibraryAccess::Duration::mayBeLong);
        const CK_RV answer = library.Sign(cardSessions.ForWork(session), key.libraryHandle, data, signature);
        Require(answer == CKR_OK, AnswerFor(session, answer));
    } catch (...) {
        cardSessions.Drop(session); // an operation that failed may still stand in it
        throw;
    }
    return signature;
}

Bytes CardWork::Decrypt(Session& session, const Object& key, const Bytes& data)
{
    const WorkOfCard work(session, CKF_DECRYPT);
    Bytes plain;
    const LibraryAccessLock lock(cardSessions.access, LibraryAccess::Duration::mayBeLong);
    const CK_RV answer = library.Decrypt(cardSessions.ForWork(session), key.libraryHandle, data, plain);
    Require(answer == CKR_OK, AnswerFor(session, answer));
    // The library answers that it has decrypted nothing when the card has gone meanwhile.
    Require(!plain.empty() || library.HasSlot(session.card.id), CKR_DEVICE_REMOVED);
    return plain;
}

// The library's answer as applications are told it. When the work failed because the card's login is over, the card's
// sessions are public again.
CK_RV CardWork::AnswerFor(const Session& session, CK_RV answer)
{
    const CK_RV told = answer == CKR_OK ? answer : cardSessions.AnswerFor(session, answer);
    if (told == CKR_FUNCTION_FAILED && !ChannelStands(session.card.card)) {
        logins.EndOfCard(session.card.card);
        cardSessions.LeaveCard(session.card.card);
    }
    return told;
}

// Whether the card still does what needs its login. The library answers a lost secure channel like any other
// failure, so the card is given a block to decrypt that it can decrypt. True when it has no key to try that
// with.
bool CardWork::ChannelStands(packed::CK_SLOT_ID card)
{
    bool tried = false;
    try {
        for (const LibrarySlot& slot : readers.DecryptingSlots(card)) {
            const LibrarySession session(library, slot.id);
            for (const Object& key : cardSessions.ReadObjects(slot.id)) {
                if (key.libraryHandle == 0 || !FlagOf(key.attributes, CKA_DECRYPT)) {
                    continue;
                }
                const Bytes block = EncryptFor(key, Bytes{0});
                Bytes plain;
                tried = true;
                if (library.Decrypt(session.Handle(), key.libraryHandle, block, plain) == CKR_OK) {
                    return true;
                }
            }
        }
    } catch (...) {
        return true; // not known; the next login finds it out
    }
    return !tried;
}

} // namespace front
