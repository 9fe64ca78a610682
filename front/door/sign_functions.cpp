// Signing. The card does it; hashing and the DigestInfo are made here.
#include "front/door/boundary.h"
#include "front/door/output.h"
#include "front/door/sign_ending.h"
#include "front/model/key_use.h"
#include "front/model/rsa_public.h"

namespace front {
namespace {

// The library's signatures are as long as the bits of the key say, and callers have room for the modulus.
void RequireRoomForSignature(const Object& key)
{
    const CK_ULONG bits = NumberOf(key.attributes, CKA_MODULUS_BITS).value_or(0);
    Require(bits / bitsPerByte <= ModulusLength(key), CKR_KEY_SIZE_RANGE);
}

Bytes SignMessage(Front& front, Session& session)
{
    SignOperation& operation = *session.sign;
    const Bytes data = operation.message.Finish();
    Require(!data.empty(), CKR_DATA_LEN_RANGE);
    RequireRoomInBlock(data.size(), operation.modulusLength);
    operation.authorised = false; // used up by the attempt
    Bytes signature = front.cardWork.Sign(session, *operation.key, data);
    // The card may have signed with another key than that of the operation, or other data than those given.
    Require(SignatureMatches(*operation.key, data, signature), CKR_FUNCTION_FAILED);
    return signature;
}

} // namespace

CK_RV C_SignInit(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey)
{
    return InFront([&](Front& front) {
        const SessionUse session = front.Use(hSession);
        return BeginWithKey(front, *session, session->sign, {CKF_SIGN, CKA_SIGN}, pMechanism, hKey,
                            RequireRoomForSignature);
    });
}

CK_RV C_Sign(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pSignature,
             CK_ULONG_PTR pulSignatureLen)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        RequireActive(front, *session, session->sign);
        Require(!session->sign->multiPart, CKR_OPERATION_NOT_INITIALIZED);
        SignEnding ending(front, *session);
        const Input data = InputOf(pData, ulDataLen);
        Require(pulSignatureLen != nullptr, CKR_ARGUMENTS_BAD);
        if (const auto answer =
                AnswerAboutLength(session->sign->modulusLength, pSignature, pulSignatureLen)) {
            return ending.GoOnWith(*answer);
        }
        session->sign->message.Add(data);
        HandOut(SignMessage(front, *session), pSignature, pulSignatureLen);
        return CKR_OK;
    });
}

CK_RV C_SignUpdate(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pPart, CK_ULONG ulPartLen)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        RequireActive(front, *session, session->sign);
        SignEnding ending(front, *session);
        session->sign->multiPart = true;
        session->sign->message.Add(InputOf(pPart, ulPartLen));
        return ending.GoOnWith(CKR_OK);
    });
}

CK_RV C_SignFinal(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pSignature, CK_ULONG_PTR pulSignatureLen)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        RequireActive(front, *session, session->sign);
        SignEnding ending(front, *session);
        Require(pulSignatureLen != nullptr, CKR_ARGUMENTS_BAD);
        if (const auto answer =
                AnswerAboutLength(session->sign->modulusLength, pSignature, pulSignatureLen)) {
            return ending.GoOnWith(*answer);
        }
        HandOut(SignMessage(front, *session), pSignature, pulSignatureLen);
        return CKR_OK;
    });
}

} // namespace front
