// The boundary: verification of the codes.
#include "softcard/card/card_access.h"
#include "softcard/card/card_error.h"
#include "softcard/card/code_check.h"
#include "softcard/card/fault.h"
#include "softcard/cardapi/boundary.h"
#include "softcard/cardapi/key_operations.h"
#include "softcard/cardapi/pinentry.h"

#include <cstring>

using softcard::CardError;
using softcard::CodeCheck;
using softcard::CodeKind;
using softcard::CodeOutcome;
using softcard::Guarded;
using softcard::KeyFamily;
using softcard::Runtime;

namespace {

// Which code it is, where, and what it opens.
struct Verification
{
    CardSession number;
    std::shared_ptr<softcard::Session> session;
    CodeKind kind;

    [[nodiscard]] KeyFamily Family() const
    {
        return kind == CodeKind::bok ? KeyFamily::ordinary : KeyFamily::qualified;
    }
};

// Puts a refused code into the result and throws; does nothing for an accepted one.
void RequireAccepted(const CodeCheck& check, CodeKind kind, VerifyResult& result)
{
    const bool isBok = kind == CodeKind::bok;
    result.unread4 = static_cast<int32_t>(check.triesLeft);
    switch (check.outcome) {
    case CodeOutcome::accepted:
        return;
    case CodeOutcome::wrong:
        throw CardError(eIncorrectCode, "The code is wrong.");
    case CodeOutcome::locked:
        result.status = isBok ? bokLocked : pinLocked;
        throw CardError(eInvalidCodeState, "The code is locked.");
    case CodeOutcome::uninitialized:
        result.status = isBok ? bokNotInitialised : pinNotInitialised;
        throw CardError(eInvalidCodeState, "The code is not initialised.");
    }
}

softcard::CardPlace PlaceOf(const softcard::Session& session)
{
    return {session.InsertedCard().name, session.InsertedIn().name};
}

// As EnterCard, for a user, who is told when another program has the card.
std::optional<softcard::FileLock> EnterForUser(const softcard::Session& session)
{
    const auto& folder = session.InsertedCard().folder;
    try {
        return softcard::EnterCard(folder);
    } catch (const CardError& error) {
        if (error.Status() == eStatusSHARING_VIOLATION) {
            softcard::TellOfOtherProgram(PlaceOf(session), softcard::ProgramInTransaction(folder),
                                         Runtime::Instance().RequireDirectories().config);
        }
        throw;
    }
}

// A code that cannot be tried is not asked for.
softcard::SecretText AskUser(const Verification& verification, VerifyResult& result)
{
    const softcard::Card& card = verification.session->InsertedCard();
    // Waiting for the user must not block other programs.
    EnterForUser(*verification.session).reset();
    const CodeCheck look = softcard::LookAtCode(card.folder, verification.kind);
    RequireAccepted(look, verification.kind, result);
    auto code = softcard::AskForCode({verification.kind, PlaceOf(*verification.session), look.triesLeft},
                                     Runtime::Instance().RequireDirectories().config);
    if (!code || !softcard::CanBeACode(*code)) {
        throw CardError(eUserInputError, "The user gave no code, or what can be none.");
    }
    // The user may have taken the time to remove the card.
    (void)Runtime::Instance().RequireSession(verification.number);
    return std::move(*code);
}

void Verify(const Verification& verification, const char* code, VerifyResult& result)
{
    const softcard::SecretText given =
        code == nullptr ? AskUser(verification, result) : softcard::MakeSecretText(code);
    const softcard::Card& card = verification.session->InsertedCard();
    const auto entry =
        code == nullptr ? EnterForUser(*verification.session) : softcard::EnterCard(card.folder);
    verification.session->Withdraw(verification.Family());
    const CodeCheck check = softcard::CheckCode(card.folder, verification.kind, given);
    RequireAccepted(check, verification.kind, result);
    auto keys = softcard::PrepareKeys(softcard::LoadPrivateKeys(card, verification.Family(), check.secret));
    if (!verification.session->Authorize(verification.Family(), std::move(keys))) {
        throw CardError(eInvalidSession, "The session was closed meanwhile.");
    }
    result.verified = 1;
}

CardStatus VerifyCode(CardSession session, const char* code, VerifyResult* result, CodeKind kind)
{
    return Guarded([&] {
        softcard::RequirePointer(result);
        result->status = 0;
        result->verified = 0;
        const bool isBok = kind == CodeKind::bok;
        try {
            auto found = softcard::UseCard(session, isBok ? "Passwords_VerifyBOK" : "QES_VerifyPin");
            Verify({session, std::move(found), kind}, code, *result);
        } catch (const softcard::OrderedFailure& failure) {
            result->status = failure.Ordered().codeState.value_or(0);
            result->verified = failure.Ordered().verified ? 1 : 0;
            throw;
        }
    });
}

} // namespace

CardStatus CardAPI_Passwords_VerifyBOK(CardSession session, const char* code, VerifyResult* result,
                                       void* /*null*/, uint32_t /*fifth*/, uint32_t /*sixth*/,
                                       uint32_t /*seventh*/)
{
    return VerifyCode(session, code, result, CodeKind::bok);
}

CardStatus CardAPI_QES_VerifyPin(CardSession session, const char* code, VerifyResult* result, void* /*null*/,
                                 uint32_t /*fifth*/, uint32_t /*sixth*/, uint32_t /*seventh*/)
{
    return VerifyCode(session, code, result, CodeKind::pin);
}
