// Checking signatures, in one step and in software.
#include "src/pkcs11/entry_frame.h"
#include "src/store/session_records.h"

CK_RV C_VerifyInit(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey)
{
    return EntryFrame("C_VerifyInit").RunOnSession(hSession, [&](SessionOperations& operations) {
        if (operations.verifyManager.operation.active) {
            return CKR_OPERATION_ACTIVE;
        }
        return operations.verifyManager.Init(hSession, hKey, pMechanism);
    });
}

CK_RV C_Verify(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pSignature,
               CK_ULONG ulSignatureLen)
{
    return EntryFrame("C_Verify").Run([&] {
        SessionRecords records; // the card isn't used, but it must still be there
        const CK_RV found = FindSessionRecords(hSession, records);
        if (found != CKR_OK) {
            return found;
        }
        VerifyManager& manager = OperationsOf(*records.session).verifyManager;
        if (!manager.operation.active) {
            return CKR_OPERATION_NOT_INITIALIZED;
        }
        // A signature that begins with a zero byte counts as a bad argument, whatever its length.
        if (pData == nullptr || ulDataLen == 0 || pSignature == nullptr || *pSignature == 0) {
            return CKR_ARGUMENTS_BAD;
        }
        manager.SetData(std::make_unique<HexBinary>(pSignature, static_cast<int32_t>(ulSignatureLen), true),
                        std::make_unique<HexBinary>(pData, static_cast<int32_t>(ulDataLen), true));
        bool matches = false;
        manager.Verify(matches);
        return matches ? CKR_OK : CKR_FUNCTION_FAILED;
    });
}
