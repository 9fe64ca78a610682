// Which slots are logged in.
#pragma once

#include "front/model/objects.h"
#include "front/model/sessions.h"

#include <map>

namespace front {

class LoginTable
{
public:
    LoginTable(const Sessions& itsSessions, Objects& itsObjects) : sessions(itsSessions), objects(itsObjects)
    {
    }

    [[nodiscard]] bool IsLoggedIn(CK_SLOT_ID slot) const EXCLUDES(mutex);
    // Whether one of the card's slots is.
    [[nodiscard]] bool IsCardLoggedIn(packed::CK_SLOT_ID card) const EXCLUDES(mutex);
    // Goes up with each login and logout of the slot.
    [[nodiscard]] uint64_t Number(CK_SLOT_ID slot) const EXCLUDES(mutex);

    // Refuses with CKR_DEVICE_REMOVED a session that has closed with its card, and with CKR_USER_NOT_LOGGED_IN one whose
    // slot is not logged in.
    void RequireLogin(const Session& session) const EXCLUDES(mutex);

    // The session's slot is logged in, and has its objects of these, which are those of the card's slots. Another slot of the
    // card that is not logged in shows the public ones of its objects. Refuses with CKR_DEVICE_REMOVED a session that has
    // closed with its card.
    void Begin(const Session& session, ObjectsOfSlots&& ofCard) EXCLUDES(mutex);

    // The logins of these are over, and with them the slots' private objects. The first refuses as RequireLogin does.
    void EndOfSession(const Session& session) EXCLUDES(mutex);
    void EndOfCard(packed::CK_SLOT_ID card) EXCLUDES(mutex);
    void EndUnusedOfCard(packed::CK_SLOT_ID card) EXCLUDES(mutex); // of slots without sessions

    // The slot's card has gone, and all objects of the slot with it. Its sessions are closed already.
    void CardGone(CK_SLOT_ID slot) EXCLUDES(mutex);

private:
    void RequireLoginHeld(const Session& session) const REQUIRES(mutex);
    [[nodiscard]] std::vector<CK_SLOT_ID> SlotsOf(packed::CK_SLOT_ID card) const REQUIRES(mutex);
    void End(CK_SLOT_ID slot) REQUIRES(mutex);

    const Sessions& sessions;
    Objects& objects;
    // Held for moments. The locks of sessions and objects are taken with it, so that a call that sees
    // a login sees its objects.
    mutable Mutex mutex;
    std::map<CK_SLOT_ID, packed::CK_SLOT_ID> loggedIn GUARDED_BY(mutex); // with the card's number
    std::map<CK_SLOT_ID, uint64_t> numbers GUARDED_BY(mutex);
};

} // namespace front
