// Encrypting, in software, and decrypting on the card.
#include "front/door/boundary.h"
#include "front/door/output.h"
#include "front/model/key_use.h"
#include "front/model/rsa_public.h"

#include <botan/mem_ops.h>

namespace front {
namespace {

// A plain text that is wiped with its end.
Botan::secure_vector<uint8_t> TakeOver(Bytes plain)
{
    Botan::secure_vector<uint8_t> kept(plain.begin(), plain.end());
    Botan::secure_scrub_memory(plain.data(), plain.size());
    return kept;
}

} // namespace

CK_RV C_EncryptInit(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey)
{
    return InFront([&](Front& front) {
        const SessionUse session = front.Use(hSession);
        return BeginWithKey(front, *session, session->encrypt, {CKF_ENCRYPT, CKA_ENCRYPT}, pMechanism, hKey,
                            [](const Object&) {});
    });
}

CK_RV C_Encrypt(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pEncryptedData,
                CK_ULONG_PTR pulEncryptedDataLen)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        RequireActive(front, *session, session->encrypt);
        Ending ending(session->encrypt);
        const Input data = InputOf(pData, ulDataLen);
        Require(pulEncryptedDataLen != nullptr, CKR_ARGUMENTS_BAD);
        const EncryptOperation& operation = *session->encrypt;
        if (const auto answer =
                AnswerAboutLength(operation.modulusLength, pEncryptedData, pulEncryptedDataLen)) {
            return ending.GoOnWith(*answer);
        }
        RequireRoomInBlock(data.size(), operation.modulusLength);
        HandOut(EncryptFor(*operation.key, data), pEncryptedData, pulEncryptedDataLen);
        return CKR_OK;
    });
}

CK_RV C_DecryptInit(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey)
{
    return InFront([&](Front& front) {
        const SessionUse session = front.Use(hSession);
        return BeginWithKey(
            front, *session, session->decrypt, {CKF_DECRYPT, CKA_DECRYPT}, pMechanism, hKey,
            [](const Object& key) { Require(key.libraryHandle != 0, CKR_KEY_TYPE_INCONSISTENT); });
    });
}

CK_RV C_Decrypt(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pEncryptedData, CK_ULONG ulEncryptedDataLen,
                CK_BYTE_PTR pData, CK_ULONG_PTR pulDataLen)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        RequireActive(front, *session, session->decrypt);
        Ending ending(session->decrypt);
        const Input data = InputOf(pEncryptedData, ulEncryptedDataLen);
        Require(pulDataLen != nullptr, CKR_ARGUMENTS_BAD);
        DecryptOperation& operation = *session->decrypt;
        if (pData == nullptr) {
            *pulDataLen =
                ToUlong(operation.modulusLength); // at most; the card isn't asked for a question of length
            return ending.GoOnWith(CKR_OK);
        }
        Require(data.size() == operation.modulusLength, CKR_ENCRYPTED_DATA_LEN_RANGE);
        const Bytes block(data.begin(), data.end());
        if (!operation.decrypted || operation.block != block) {
            operation.decrypted = TakeOver(front.cardWork.Decrypt(*session, *operation.key, block));
            operation.block = block;
        }
        if (const auto answer = AnswerAboutLength(operation.decrypted->size(), pData, pulDataLen)) {
            return ending.GoOnWith(*answer);
        }
        HandOut(*operation.decrypted, pData, pulDataLen);
        return CKR_OK;
    });
}

} // namespace front
