// Encrypting for a public key in software, and decrypting on the card; each in one step. Their starts always
// answer CKR_OK: what was wrong shows at the operation itself.
#include "src/pkcs11/entry_frame.h"
#include "src/pkcs11/output.h"
#include "src/store/internal_cache.h"

CK_RV C_EncryptInit(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey)
{
    return EntryFrame("C_EncryptInit").RunOnSession(hSession, [&](SessionOperations& operations) {
        static_cast<void>(operations.encryptionManager.Init(hSession, pMechanism, hKey));
        return CKR_OK;
    });
}

CK_RV C_Encrypt(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pEncryptedData,
                CK_ULONG_PTR pulEncryptedDataLen)
{
    return EntryFrame("C_Encrypt").RunOnSession(hSession, [&](SessionOperations& operations) {
        EncryptionManager& manager = operations.encryptionManager;
        if (!manager.operation.active) {
            return CKR_OPERATION_NOT_INITIALIZED;
        }
        if (pEncryptedData == nullptr) {
            return TellLength(manager, pulEncryptedDataLen);
        }
        manager.SetData(std::make_unique<HexBinary>(pData, static_cast<int32_t>(ulDataLen), true));
        const auto output = MakeOutput(manager);
        const CK_RV encrypted = manager.Encrypt(*output);
        if (encrypted != CKR_OK) {
            return encrypted;
        }
        HandOut(*output, static_cast<uint32_t>(output->length), pEncryptedData, pulEncryptedDataLen);
        return CKR_OK;
    });
}

CK_RV C_DecryptInit(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey)
{
    return EntryFrame("C_DecryptInit").RunOnSession(hSession, [&](SessionOperations& operations) {
        static_cast<void>(operations.decryptionManager.Init(hSession, pMechanism, hKey));
        return CKR_OK;
    });
}

CK_RV C_Decrypt(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pEncryptedData, CK_ULONG ulEncryptedDataLen,
                CK_BYTE_PTR pData, CK_ULONG_PTR pulDataLen)
{
    return EntryFrame("C_Decrypt").RunOnSession(hSession, [&](SessionOperations& operations) {
        DecryptionManager& manager = operations.decryptionManager;
        if (!manager.operation.active) {
            return CKR_OPERATION_NOT_INITIALIZED;
        }
        if (pData == nullptr) {
            return TellLength(manager, pulDataLen);
        }
        const auto encryptedLength = static_cast<int32_t>(ulEncryptedDataLen);
        manager.SetData(HexBinary(pEncryptedData, encryptedLength, true));
        HexBinary output(encryptedLength);
        uint32_t length = 0;
        if (manager.Decrypt(output, length) != CKR_OK) {
            return CKR_FUNCTION_FAILED; // the log has the particular reason
        }
        HandOut(output, length, pData, pulDataLen);
        return CKR_OK;
    });
}
