// Login and logout. CKU_USER is the card's login code and counts for every session on the card;
// CKU_CONTEXT_SPECIFIC is the signature PIN and counts for the next signature of one session.
#include "src/log/logger.h"
#include "src/operations/code_verification.h"
#include "src/operations/secret_code.h"
#include "src/pkcs11/entry_frame.h"
#include "src/readers/slot_objects.h"
#include "src/store/session_records.h"

#include <optional>

namespace {

constexpr char loginFunction[] = "C_Login";
constexpr char logoutFunction[] = "C_Logout";

void SetLoggedInOfAllSessions(uint32_t tokenId, bool loggedIn)
{
    for (const auto& session : InternalCache::GetInstance().GetSessionsOfToken(tokenId)) {
        session->loggedIn = loggedIn;
    }
}

// The answer to a login with the login code on a card that counts as logged in; none when the card has lost
// its secure channel meanwhile, and the code has to be verified again.
std::optional<CK_RV> AnswerOnLoggedInCard(Session& session, CardToken& token)
{
    LOG_LINE(LogLevel_Debug, loginFunction, "C_Login: Card token login state is set to true");
    if (!token.card.IsSecureMessagingActive()) {
        LOG_LINE(LogLevel_Debug, loginFunction, "C_Login: SM was broken on card");
        session.sessionState = 0;
        token.loggedIn = false;
        return std::nullopt;
    }
    LOG_LINE(LogLevel_Debug, loginFunction, "C_Login: SM is active on card");
    if (session.loggedIn) {
        LOG_LINE(LogLevel_Debug, loginFunction, "C_Login: User is already logged in on card");
        return CKR_USER_ALREADY_LOGGED_IN;
    }
    LOG_LINE(LogLevel_Debug, loginFunction, "C_Login: User was not logged in on card, set to logged");
    session.loggedIn = true;
    return CKR_OK;
}

// The answer to a login that needs no verification; none when it needs one.
std::optional<CK_RV> AnswerWithoutVerification(CK_USER_TYPE userType, const SessionRecords& records)
{
    if (userType == CKU_USER && records.token->loggedIn) {
        return AnswerOnLoggedInCard(*records.session, *records.token);
    }
    if (userType == CKU_CONTEXT_SPECIFIC && OperationsOf(*records.session).signManager.isLogged) {
        return CKR_USER_ALREADY_LOGGED_IN;
    }
    return std::nullopt;
}

// Has the card verify the code. A user type without a meaning makes no call and counts as a code that was not
// accepted.
CK_RV Verify(CK_USER_TYPE userType, CardSession cardSession, const CK_UTF8CHAR* pin, CK_ULONG pinLength)
{
    VerifyResult result = MakeVerifyResult();
    CardStatus status = 0;
    {
        const SecretCode code(pin, pinLength);
        if (userType == CKU_USER) {
            LOG_LINE(LogLevel_Debug, loginFunction, "C_Login: Going to call CA_VerifyBOK");
            status = VerifyLoginCode(cardSession, code.Text(), result);
            LOG_LINE(LogLevel_Debug, loginFunction, "C_Login: CA_VerifyBOK returns: %i", status);
        } else if (userType == CKU_CONTEXT_SPECIFIC) {
            LOG_LINE(LogLevel_Debug, loginFunction, "C_Login: Going to call CA_VerifyPIN");
            status = VerifySignaturePin(cardSession, code.Text(), result);
            LOG_LINE(LogLevel_Debug, loginFunction, "C_Login: CA_VerifyPIN returns: %i", status);
        }
    }
    return JudgeLogin(status, result);
}

// Makes the objects of every slot that has none yet, also on other cards than the one that was logged in to.
void CreateMissingObjects()
{
    const auto& cache = InternalCache::GetInstance();
    for (const CK_SLOT_ID slotId : cache.GetSlotIds()) {
        if (!cache.HasObjectsOfSlot(slotId)) {
            CreateSlotObjects(slotId);
        }
    }
}

void MarkLoggedIn(CK_USER_TYPE userType, const SessionRecords& records)
{
    if (userType == CKU_CONTEXT_SPECIFIC) {
        OperationsOf(*records.session).signManager.isLogged = true;
        return;
    }
    records.session->loggedIn = true;
    records.token->loggedIn = true;
    SetLoggedInOfAllSessions(records.token->tokenId, true);
    CreateMissingObjects();
}

} // namespace

CK_RV C_Login(CK_SESSION_HANDLE hSession, CK_USER_TYPE userType, CK_UTF8CHAR_PTR pPin, CK_ULONG ulPinLen)
{
    return EntryFrame(loginFunction).Run([&] {
        SessionRecords records;
        const CK_RV found = FindSessionRecords(hSession, records);
        if (found != CKR_OK) {
            return found;
        }
        if (!records.token->card.StartTransaction()) {
            LOG_LINE(LogLevel_Debug, loginFunction,
                     "Cannot open new transaction, another transaction on this token already active");
        }
        if (const auto answer = AnswerWithoutVerification(userType, records)) {
            return *answer;
        }
        const CK_RV verified = Verify(userType, records.token->card.session, pPin, ulPinLen);
        if (verified == CKR_OK) {
            MarkLoggedIn(userType, records);
        }
        return verified;
    });
}

CK_RV C_Logout(CK_SESSION_HANDLE hSession)
{
    return EntryFrame(logoutFunction).Run([&] {
        const auto& cache = InternalCache::GetInstance();
        LOG_LINE(LogLevel_Debug, logoutFunction, "C_Logout: Get session");
        const auto session = cache.GetSession(hSession);
        if (session == nullptr) {
            return CKR_SESSION_HANDLE_INVALID;
        }
        LOG_LINE(LogLevel_Debug, logoutFunction, "C_Logout: Get card session");
        const auto token = cache.GetCardTokenOfSession(hSession);
        if (token == nullptr) {
            return CKR_TOKEN_NOT_PRESENT;
        }
        if (!session->loggedIn) {
            return CKR_USER_NOT_LOGGED_IN;
        }
        LOG_LINE(LogLevel_Debug, logoutFunction, "Set all card sessions to not logged");
        SetLoggedInOfAllSessions(token->tokenId, false);
        token->loggedIn = false;
        session->loggedIn = false;
        auto& operations = OperationsOf(*session);
        LOG_LINE(LogLevel_Debug, logoutFunction, "C_Logout: Digest manager reset");
        operations.digestManager.Reset();
        LOG_LINE(LogLevel_Debug, logoutFunction, "C_Logout: Find object manager reset");
        operations.findObjectManager.Reset();
        LOG_LINE(LogLevel_Debug, logoutFunction, "C_Logout: Sign manager reset");
        operations.signManager.Reset();
        session->sessionState = 0;
        LOG_LINE(LogLevel_Debug, logoutFunction, "C_Logout: StopTransaction going  to call");
        if (!token->card.StopTransaction()) {
            LOG_LINE(LogLevel_Debug, logoutFunction,
                     "Cannot call StopTransaction, no active transaction exists on card");
        }
        LOG_LINE(LogLevel_Debug, logoutFunction, "C_Logout: StopTransaction call end");
        return CKR_OK;
    });
}
