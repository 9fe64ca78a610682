// Checking signatures, in software.
#include "front/door/boundary.h"
#include "front/door/output.h"
#include "front/model/key_use.h"
#include "front/model/rsa_public.h"

namespace front {
namespace {

CK_RV CheckSignature(VerifyOperation& operation, Input signature)
{
    Require(signature.size() == operation.modulusLength, CKR_SIGNATURE_LEN_RANGE);
    const Bytes data = operation.message.Finish();
    RequireRoomInBlock(data.size(), operation.modulusLength);
    return SignatureMatches(*operation.key, data, signature) ? CKR_OK : CKR_SIGNATURE_INVALID;
}

} // namespace

CK_RV C_VerifyInit(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey)
{
    return InFront([&](Front& front) {
        const SessionUse session = front.Use(hSession);
        return BeginWithKey(front, *session, session->verify, {CKF_VERIFY, CKA_VERIFY}, pMechanism, hKey,
                            [](const Object&) {});
    });
}

CK_RV C_Verify(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pSignature,
               CK_ULONG ulSignatureLen)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        RequireActive(front, *session, session->verify);
        Require(!session->verify->multiPart, CKR_OPERATION_NOT_INITIALIZED);
        const Ending ending(session->verify);
        session->verify->message.Add(InputOf(pData, ulDataLen));
        return CheckSignature(*session->verify, InputOf(pSignature, ulSignatureLen));
    });
}

CK_RV C_VerifyUpdate(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pPart, CK_ULONG ulPartLen)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        RequireActive(front, *session, session->verify);
        Ending ending(session->verify);
        session->verify->multiPart = true;
        session->verify->message.Add(InputOf(pPart, ulPartLen));
        return ending.GoOnWith(CKR_OK);
    });
}

CK_RV C_VerifyFinal(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pSignature, CK_ULONG ulSignatureLen)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        RequireActive(front, *session, session->verify);
        const Ending ending(session->verify);
        return CheckSignature(*session->verify, InputOf(pSignature, ulSignatureLen));
    });
}

} // namespace front
