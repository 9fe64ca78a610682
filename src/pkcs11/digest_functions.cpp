// Digests, in one step. They need no card, no login and no key.
#include "src/pkcs11/entry_frame.h"
#include "src/pkcs11/output.h"
#include "src/store/internal_cache.h"

// A mechanism that is no digest is not reported here: it shows at C_Digest.
CK_RV C_DigestInit(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism)
{
    return EntryFrame("C_DigestInit").RunOnSession(hSession, [&](SessionOperations& operations) {
        static_cast<void>(operations.digestManager.Init(hSession, pMechanism));
        return CKR_OK;
    });
}

CK_RV C_Digest(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pDigest,
               CK_ULONG_PTR pulDigestLen)
{
    return EntryFrame("C_Digest").RunOnSession(hSession, [&](SessionOperations& operations) {
        DigestManager& manager = operations.digestManager;
        if (!manager.active) {
            return CKR_OPERATION_NOT_INITIALIZED;
        }
        if (pDigest == nullptr) {
            return TellLength(manager, pulDigestLen);
        }
        manager.SetData(std::make_unique<HexBinary>(pData, static_cast<int32_t>(ulDataLen), true));
        const auto output = MakeOutput(manager);
        if (manager.Digest(*output) != CKR_OK) {
            return CKR_FUNCTION_FAILED;
        }
        HandOut(*output, static_cast<uint32_t>(output->length), pDigest, pulDigestLen);
        return CKR_OK;
    });
}
