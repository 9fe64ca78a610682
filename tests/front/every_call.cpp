#include "tests/front/every_call.h"

#include <array>

namespace front_test {

using namespace front;

namespace {

// What the calls read from and write to.
std::array<CK_BYTE, 1024> bytes{};
CK_ULONG bytesLength = bytes.size();
CK_ULONG anyHandle = 0;
CK_MECHANISM rsa{CKM_RSA_PKCS, nullptr, 0};
CK_MECHANISM sha256{CKM_SHA256, nullptr, 0};
CK_ATTRIBUTE attribute{CKA_CLASS, nullptr, 0};
CK_SESSION_INFO sessionInfo{};
CK_SLOT_INFO slotInfo{};
CK_TOKEN_INFO tokenInfo{};
CK_MECHANISM_INFO mechanismInfo{};

} // namespace

std::vector<NamedCall> EveryCallWithASlot(CK_FUNCTION_LIST_3_0* f, CK_SLOT_ID slot)
{
    return {
        {"C_GetSlotInfo", [=] { return f->C_GetSlotInfo(slot, &slotInfo); }},
        {"C_GetTokenInfo", [=] { return f->C_GetTokenInfo(slot, &tokenInfo); }},
        {"C_GetMechanismList", [=] { return f->C_GetMechanismList(slot, nullptr, &bytesLength); }},
        {"C_GetMechanismInfo", [=] { return f->C_GetMechanismInfo(slot, CKM_SHA256, &mechanismInfo); }},
        {"C_OpenSession",
         [=] { return f->C_OpenSession(slot, CKF_SERIAL_SESSION, nullptr, nullptr, &anyHandle); }},
        {"C_CloseAllSessions", [=] { return f->C_CloseAllSessions(slot); }},
    };
}

std::vector<NamedCall> EveryCallWithASession(CK_FUNCTION_LIST_3_0* f, CK_SESSION_HANDLE session)
{
    CK_BYTE* data = bytes.data();
    return {
        {"C_GetSessionInfo", [=] { return f->C_GetSessionInfo(session, &sessionInfo); }},
        {"C_Login", [=] { return f->C_Login(session, CKU_USER, nullptr, 0); }},
        {"C_LoginUser", [=] { return f->C_LoginUser(session, CKU_USER, nullptr, 0, nullptr, 0); }},
        {"C_Logout", [=] { return f->C_Logout(session); }},
        {"C_CreateObject", [=] { return f->C_CreateObject(session, &attribute, 1, &anyHandle); }},
        {"C_CopyObject", [=] { return f->C_CopyObject(session, 1, &attribute, 1, &anyHandle); }},
        {"C_DestroyObject", [=] { return f->C_DestroyObject(session, 1); }},
        {"C_GetObjectSize", [=] { return f->C_GetObjectSize(session, 1, &bytesLength); }},
        {"C_GetAttributeValue", [=] { return f->C_GetAttributeValue(session, 1, &attribute, 1); }},
        {"C_FindObjectsInit", [=] { return f->C_FindObjectsInit(session, nullptr, 0); }},
        {"C_FindObjects", [=] { return f->C_FindObjects(session, &anyHandle, 1, &bytesLength); }},
        {"C_FindObjectsFinal", [=] { return f->C_FindObjectsFinal(session); }},
        {"C_EncryptInit", [=] { return f->C_EncryptInit(session, &rsa, 1); }},
        {"C_Encrypt", [=] { return f->C_Encrypt(session, data, 1, data, &bytesLength); }},
        {"C_DecryptInit", [=] { return f->C_DecryptInit(session, &rsa, 1); }},
        {"C_Decrypt", [=] { return f->C_Decrypt(session, data, 1, data, &bytesLength); }},
        {"C_DigestInit", [=] { return f->C_DigestInit(session, &sha256); }},
        {"C_Digest", [=] { return f->C_Digest(session, data, 1, data, &bytesLength); }},
        {"C_DigestUpdate", [=] { return f->C_DigestUpdate(session, data, 1); }},
        {"C_DigestFinal", [=] { return f->C_DigestFinal(session, data, &bytesLength); }},
        {"C_SignInit", [=] { return f->C_SignInit(session, &rsa, 1); }},
        {"C_Sign", [=] { return f->C_Sign(session, data, 1, data, &bytesLength); }},
        {"C_SignUpdate", [=] { return f->C_SignUpdate(session, data, 1); }},
        {"C_SignFinal", [=] { return f->C_SignFinal(session, data, &bytesLength); }},
        {"C_VerifyInit", [=] { return f->C_VerifyInit(session, &rsa, 1); }},
        {"C_Verify", [=] { return f->C_Verify(session, data, 1, data, 1); }},
        {"C_VerifyUpdate", [=] { return f->C_VerifyUpdate(session, data, 1); }},
        {"C_VerifyFinal", [=] { return f->C_VerifyFinal(session, data, 1); }},
        {"C_SeedRandom", [=] { return f->C_SeedRandom(session, data, 1); }},
        {"C_GenerateRandom", [=] { return f->C_GenerateRandom(session, data, 1); }},
        {"C_SessionCancel", [=] { return f->C_SessionCancel(session, CKF_SIGN | CKF_DIGEST); }},
        {"C_CloseSession", [=] { return f->C_CloseSession(session); }},
    };
}

} // namespace front_test
