// What a card does with its private keys.
#pragma once

#include "front/model/card_sessions.h"

namespace front {

class CardWork
{
public:
    CardWork(const Library& itsLibrary, const Readers& itsReaders, LoginTable& itsLogins,
             CardSessions& itsCardSessions);

    // Authorises the signature that the session has begun. A null code has the card side ask for it.
    CK_RV Authorise(Session& session, const CK_UTF8CHAR* code, CK_ULONG length) EXCLUDES(cardSessions.access);

    Bytes Sign(Session& session, const Object& key, const Bytes& data) EXCLUDES(cardSessions.access);
    Bytes Decrypt(Session& session, const Object& key, const Bytes& data) EXCLUDES(cardSessions.access);

private:
    CK_RV AnswerFor(const Session& session, CK_RV answer) REQUIRES(cardSessions.access);
    bool ChannelStands(packed::CK_SLOT_ID card) REQUIRES(cardSessions.access);

    const Library& library;
    const Readers& readers;
    LoginTable& logins;
    CardSessions& cardSessions;
};

} // namespace front
