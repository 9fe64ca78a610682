// Digests, in software.
#include "front/door/boundary.h"
#include "front/door/output.h"

namespace front {

CK_RV C_DigestInit(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        Require(!session->digest, CKR_OPERATION_ACTIVE);
        const Mechanism& mechanism = MechanismFor(CKF_DIGEST, pMechanism);
        CheckParameter(mechanism, *pMechanism);
        session->digest = std::make_unique<DigestOperation>(mechanism.hash);
        return CKR_OK;
    });
}

CK_RV C_Digest(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pDigest,
               CK_ULONG_PTR pulDigestLen)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        Require(session->digest && !session->digest->multiPart, CKR_OPERATION_NOT_INITIALIZED);
        Ending ending(session->digest);
        const Input data = InputOf(pData, ulDataLen);
        Require(pulDigestLen != nullptr, CKR_ARGUMENTS_BAD);
        if (const auto answer = AnswerAboutLength(session->digest->Length(), pDigest, pulDigestLen)) {
            return ending.GoOnWith(*answer);
        }
        session->digest->Add(data);
        HandOut(session->digest->Finish(), pDigest, pulDigestLen);
        return CKR_OK;
    });
}

CK_RV C_DigestUpdate(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pPart, CK_ULONG ulPartLen)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        Require(session->digest != nullptr, CKR_OPERATION_NOT_INITIALIZED);
        Ending ending(session->digest);
        session->digest->multiPart = true;
        session->digest->Add(InputOf(pPart, ulPartLen));
        return ending.GoOnWith(CKR_OK);
    });
}

CK_RV C_DigestFinal(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pDigest, CK_ULONG_PTR pulDigestLen)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        Require(session->digest != nullptr, CKR_OPERATION_NOT_INITIALIZED);
        Ending ending(session->digest);
        Require(pulDigestLen != nullptr, CKR_ARGUMENTS_BAD);
        if (const auto answer = AnswerAboutLength(session->digest->Length(), pDigest, pulDigestLen)) {
            return ending.GoOnWith(*answer);
        }
        HandOut(session->digest->Finish(), pDigest, pulDigestLen);
        return CKR_OK;
    });
}

} // namespace front
