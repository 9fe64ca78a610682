// The end of a signature.
#pragma once

#include "front/door/output.h"
#include "front/model/front.h"

namespace front {

// An authorisation that was not used up ends with the operation.
class SignEnding : public Ending<SignOperation>
{
public:
    SignEnding(Front& itsFront, Session& itsSession)
        : Ending(itsSession.sign), front(itsFront), session(itsSession)
    {
    }
    ~SignEnding()
    {
        if (Ends() && session.sign && session.sign->authorised) {
            front.cardSessions.Drop(session);
        }
    }
    SignEnding(const SignEnding&) = delete;
    SignEnding& operator=(const SignEnding&) = delete;

private:
    Front& front;
    Session& session;
};

} // namespace front
