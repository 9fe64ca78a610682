// What is measured and counted: each work is what an application does with a token, and is done in the same way with
// every module.
#pragma once

#include "bench/token.h"

#include <array>

namespace bench {

inline constexpr std::size_t shortData = 64;
inline constexpr std::size_t longData = 1024UL * 1024;
inline constexpr std::size_t longestValue = 4096; // of an attribute, a signature or a block

template <class Form>
struct Works
{
    using Ulong = typename Form::Ulong;
    using OneToken = Token<Form>;

    static void SessionInfo(OneToken& token)
    {
        typename Form::SessionInfo info;
        Require(token.f->C_GetSessionInfo(token.session, &info), "C_GetSessionInfo");
    }
    static void SessionInfoAtRandom(OneToken& token)
    {
        typename Form::SessionInfo info;
        Require(token.f->C_GetSessionInfo(token.NextOfCrowd(), &info), "C_GetSessionInfo");
    }
    static void Info(OneToken& token)
    {
        typename Form::Info info;
        Require(token.f->C_GetInfo(&info), "C_GetInfo");
    }
    static void SlotList(OneToken& token)
    {
        std::array<Ulong, 64> slots;
        auto count = static_cast<Ulong>(slots.size());
        Require(token.f->C_GetSlotList(CK_TRUE, slots.data(), &count), "C_GetSlotList");
    }
    static void TokenInfo(OneToken& token)
    {
        typename Form::TokenInfo info;
        Require(token.f->C_GetTokenInfo(token.slot, &info), "C_GetTokenInfo");
    }
    static void OpenAndClose(OneToken& token) { token.Close(token.Open(token.slot)); }
    static void OpenAndCloseOther(OneToken& token) { token.Close(token.Open(token.otherSlot)); }
    static void FindCertificate(OneToken& token) { static_cast<void>(token.Find(CKO_CERTIFICATE)); }

    // In the other slot, where there are no objects of the crowd.
    static void FindAndClose(OneToken& token)
    {
        const Ulong session = token.Open(token.otherSlot);
        std::array<Ulong, 4> found{};
        Ulong count = 0;
        Ulong keyClass = CKO_CERTIFICATE;
        typename Form::Attribute wanted{CKA_CLASS, &keyClass, sizeof(keyClass)};
        Require(token.f->C_FindObjectsInit(session, &wanted, 1), "C_FindObjectsInit");
        Require(token.f->C_FindObjects(session, found.data(), found.size(), &count), "C_FindObjects");
        Require(token.f->C_FindObjectsFinal(session), "C_FindObjectsFinal");
        token.Close(session);
    }
    static void TenAttributes(OneToken& token)
    {
        static constexpr std::array<Ulong, 10> types{
            CKA_CLASS, CKA_TOKEN,   CKA_PRIVATE, CKA_LABEL,         CKA_CERTIFICATE_TYPE,
            CKA_ID,    CKA_SUBJECT, CKA_ISSUER,  CKA_SERIAL_NUMBER, CKA_VALUE};
        std::array<std::array<unsigned char, longestValue>, types.size()> values;
        std::array<typename Form::Attribute, types.size()> records;
        for (std::size_t i = 0; i < types.size(); ++i) {
            records[i] = {types[i], values[i].data(), static_cast<Ulong>(longestValue)};
        }
        Require(token.f->C_GetAttributeValue(token.session, token.certificate, records.data(),
                                             static_cast<Ulong>(records.size())),
                "C_GetAttributeValue");
    }
    template <std::size_t size>
    static void Digest(OneToken& token)
    {
        static Bytes data(size, 'd');
        std::array<unsigned char, 32> digest;
        auto length = static_cast<Ulong>(digest.size());
        typename Form::Mechanism mechanism{CKM_SHA256, nullptr, 0};
        Require(token.f->C_DigestInit(token.session, &mechanism), "C_DigestInit");
        Require(token.f->C_Digest(token.session, data.data(), static_cast<Ulong>(data.size()), digest.data(),
                                  &length),
                "C_Digest");
    }

    // In sessions of their own, because the library never ends these operations.
    static void Verify(OneToken& token)
    {
        const Ulong session = token.Open(token.slot);
        BeginVerifying(token, session, token.publicKey);
        VerifyOnce(token, session, token.signedData);
        token.Close(session);
    }
    static void BeginVerifying(const OneToken& token, Ulong session, Ulong key)
    {
        typename Form::Mechanism mechanism{CKM_RSA_PKCS, nullptr, 0};
        Require(token.f->C_VerifyInit(session, &mechanism, key), "C_VerifyInit");
    }
    static void VerifyOnce(const OneToken& token, Ulong session, SignedData& made)
    {
        Require(token.f->C_Verify(session, made.data.data(), static_cast<Ulong>(made.data.size()),
                                  made.signature.data(), static_cast<Ulong>(made.signature.size())),
                "C_Verify");
    }
    static void Encrypt(OneToken& token)
    {
        const Ulong session = token.Open(token.slot);
        typename Form::Mechanism mechanism{CKM_RSA_PKCS, nullptr, 0};
        Require(token.f->C_EncryptInit(session, &mechanism, token.publicKey), "C_EncryptInit");
        std::array<unsigned char, longestValue> block;
        auto length = static_cast<Ulong>(block.size());
        Bytes& data = token.signedData.data;
        Require(
            token.f->C_Encrypt(session, data.data(), static_cast<Ulong>(data.size()), block.data(), &length),
            "C_Encrypt");
        token.Close(session);
    }

    static void Sign(OneToken& token)
    {
        typename Form::Mechanism mechanism{CKM_RSA_PKCS, nullptr, 0};
        std::array<unsigned char, longestValue> signature;
        auto length = static_cast<Ulong>(signature.size());
        Bytes& data = token.signedData.data;
        Require(token.f->C_SignInit(token.session, &mechanism, token.privateKey), "C_SignInit");
        Require(token.f->C_Sign(token.session, data.data(), static_cast<Ulong>(data.size()), signature.data(),
                                &length),
                "C_Sign");
    }
};

// Whether the slot of the token is to have no other sessions meanwhile, more and more of them, or more and more objects.
enum class Beside
{
    nothing,
    sessions,
    objects
};

template <class Form>
struct NamedWork
{
    const char* name;
    void (*call)(Token<Form>&);
    Beside beside = Beside::nothing;
};

template <class Form>
inline constexpr auto works = std::to_array<NamedWork<Form>>({
    {"session info", Works<Form>::SessionInfo},
    {"library info", Works<Form>::Info},
    {"slot list", Works<Form>::SlotList},
    {"token info", Works<Form>::TokenInfo},
    {"open and close", Works<Form>::OpenAndClose},
    {"find a certificate", Works<Form>::FindCertificate},
    {"ten attributes", Works<Form>::TenAttributes},
    {"digest 64 B", Works<Form>::template Digest<shortData>},
    {"digest 1 MiB", Works<Form>::template Digest<longData>},
    {"verify RSA-2048", Works<Form>::Verify},
    {"encrypt RSA-2048", Works<Form>::Encrypt},
    {"sign RSA-2048", Works<Form>::Sign},
    {"session info, random handle", Works<Form>::SessionInfoAtRandom, Beside::sessions},
    {"token info, sessions open", Works<Form>::TokenInfo, Beside::sessions},
    {"open and close, other slot", Works<Form>::OpenAndCloseOther, Beside::sessions},
    {"open and close, sessions open", Works<Form>::OpenAndClose, Beside::sessions},
    {"ten attributes, objects there", Works<Form>::TenAttributes, Beside::objects},
    {"find and close, other slot", Works<Form>::FindAndClose, Beside::objects},
});

} // namespace bench
