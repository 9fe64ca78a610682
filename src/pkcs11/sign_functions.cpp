// Signing, in one step. The card does the work; the qualified key asks for the signature PIN for each
// signature.
#include "src/log/logger.h"
#include "src/operations/code_verification.h"
#include "src/operations/key_attributes.h"
#include "src/pkcs11/entry_frame.h"
#include "src/pkcs11/output.h"
#include "src/store/session_records.h"

namespace {

constexpr char signFunction[] = "C_Sign";

// Sees to it that the signature PIN was verified, where the key wants it.
CK_RV AuthoriseSignature(SignManager& manager, const Slot& slot, CardSession cardSession)
{
    if (manager.isLogged) {
        LOG_LINE(LogLevel_Debug, signFunction, "SignManager isLogged is set to true");
        return CKR_OK;
    }
    if (slot.label != qualifiedLabel) {
        return CKR_OK;
    }
    LOG_LINE(LogLevel_Debug, signFunction, "SignManager isLogged is set to false");
    const CK_RV accepted = AskForSignaturePin(cardSession);
    if (accepted == CKR_OK) {
        manager.isLogged = true;
        LOG_LINE(LogLevel_Debug, signFunction, "signManager.isLogged set to true");
    }
    return accepted;
}

void EndAttempt(SignManager& manager)
{
    manager.isLogged = false;
    LOG_LINE(LogLevel_Debug, signFunction, "signManager.isLogged set to false");
    manager.Reset();
}

// Has the card sign; the operation and its authorisation end with the attempt, however it turns out.
CK_RV SignOnce(SignManager& manager, std::unique_ptr<HexBinary>& signature)
{
    LOG_LINE(LogLevel_Debug, signFunction, "SignManager going to sign data");
    try {
        const CK_RV result = manager.Sign(signature);
        EndAttempt(manager);
        return result;
    } catch (...) { // thrown on: what was authorised for this signature must not serve the next one
        EndAttempt(manager);
        throw;
    }
}

} // namespace

CK_RV C_SignInit(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey)
{
    return EntryFrame("C_SignInit").RunOnSession(hSession, [&](SessionOperations& operations) {
        if (operations.signManager.active) {
            return CKR_OPERATION_ACTIVE;
        }
        return operations.signManager.Init(hSession, hKey, pMechanism);
    });
}

CK_RV C_Sign(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pSignature,
             CK_ULONG_PTR pulSignatureLen)
{
    return EntryFrame(signFunction).Run([&] {
        SessionRecords records;
        const CK_RV found = FindSessionRecords(hSession, records);
        if (found != CKR_OK) {
            return found;
        }
        SignManager& manager = OperationsOf(*records.session).signManager;
        if (!manager.active) {
            return CKR_OPERATION_NOT_INITIALIZED;
        }
        if (pSignature == nullptr) {
            *pulSignatureLen = manager.modulusBits / bitsPerByte;
            return CKR_OK;
        }
        manager.SetData(std::make_unique<HexBinary>(pData, static_cast<int32_t>(ulDataLen), true));
        const CK_RV authorised = AuthoriseSignature(manager, *records.slot, records.token->card.session);
        if (authorised != CKR_OK) {
            return authorised;
        }
        std::unique_ptr<HexBinary> signature;
        if (SignOnce(manager, signature) != CKR_OK) {
            return CKR_FUNCTION_FAILED; // the log has the particular reason
        }
        HandOut(*signature, static_cast<uint32_t>(signature->length), pSignature, pulSignatureLen);
        return CKR_OK;
    });
}
