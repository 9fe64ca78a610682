#include "src/operations/code_verification.h"

#include "src/card/card_status.h"
#include "src/log/logger.h"

namespace {

constexpr char loginCall[] = "C_Login";
constexpr char signCall[] = "C_Sign";
constexpr uint8_t codeAccepted = 1;

// The constant that the card side wants with the signature PIN.
constexpr uint32_t signaturePinConstant = 2;

// What login and signature both answer to a state of the code; CKR_OK for a state that they answer differently.
CK_RV CommonCodeState(uint32_t status)
{
    switch (status) {
    case bokNotInitialised:
    case pinNotInitialised:
        return CKR_USER_PIN_NOT_INITIALIZED;
    case bokLocked:
    case pinLocked:
        return CKR_PIN_LOCKED;
    default:
        return CKR_OK;
    }
}

CK_RV JudgeCodeStateAtLogin(uint32_t status)
{
    LOG_LINE(LogLevel_Debug, loginCall, "C_Login: CA Verify end with status: %i", static_cast<int>(status));
    const CK_RV known = CommonCodeState(status);
    if (known != CKR_OK) {
        return known;
    }
    LOG_LINE(LogLevel_Debug, loginCall, "C_Login: Code status is unknown");
    return CKR_FUNCTION_FAILED;
}

CK_RV JudgeCodeStateAtSignature(uint32_t status)
{
    const CK_RV known = CommonCodeState(status);
    if (known != CKR_OK) {
        return known;
    }
    return status == 0 ? CKR_TOKEN_NOT_RECOGNIZED : CKR_PIN_INCORRECT;
}

} // namespace

VerifyResult MakeVerifyResult()
{
    VerifyResult result{};
    result.unread4 = -1;
    return result;
}

CardStatus VerifyLoginCode(CardSession session, const char* code, VerifyResult& result)
{
    return CardAPI_Passwords_VerifyBOK(session, code, &result, nullptr, 0, 0, 0);
}

CardStatus VerifySignaturePin(CardSession session, const char* code, VerifyResult& result)
{
    return CardAPI_QES_VerifyPin(session, code, &result, nullptr, 0, signaturePinConstant, 0);
}

CK_RV JudgeLogin(CardStatus status, const VerifyResult& result)
{
    switch (status) {
    case eStatusOk:
    case eInvalidCodeState:
        return result.verified == codeAccepted ? CKR_OK : JudgeCodeStateAtLogin(result.status);
    case eIncorrectCode:
        return CKR_PIN_INCORRECT;
    case eUserInputError:
        return CKR_FUNCTION_CANCELED;
    default:
        return CKR_FUNCTION_FAILED;
    }
}

CK_RV AskForSignaturePin(CardSession session)
{
    VerifyResult result = MakeVerifyResult(); // made once: each try is given the result of the one before
    CardStatus status = eIncorrectCode;
    while (status == eIncorrectCode) {
        LOG_LINE(LogLevel_Debug, signCall, "Virtualkeyboard for Signature PIN opened...");
        status = VerifySignaturePin(session, nullptr, result);
        LOG_LINE(LogLevel_Debug, signCall, "Virtualkeyboard for Signature PIN closed");
    }
    if (status == eUserInputError) {
        return CKR_FUNCTION_CANCELED;
    }
    return result.verified == codeAccepted ? CKR_OK : JudgeCodeStateAtSignature(result.status);
}
