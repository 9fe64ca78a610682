// What a client does with the software card, in the layout of the library or of the front.
#pragma once

#include "tests/support/module_types.h"

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <dlfcn.h>

namespace hosts {

inline void Require(bool condition, const std::string& text)
{
    if (!condition) {
        throw std::runtime_error(text);
    }
}

// Each member throws std::runtime_error when a call of the module fails.
template <typename Types>
class CardClient
{
public:
    using Number = typename Types::Ulong;

    explicit CardClient(void* module)
    {
        auto* const getFunctionList =
            reinterpret_cast<typename Types::GetFunctionList*>(dlsym(module, "C_GetFunctionList"));
        Require(getFunctionList != nullptr, "no C_GetFunctionList");
        static_cast<void>(getFunctionList(&f));
    }

    // Called behind every call of the module, with its name.
    std::function<void(const char* call)> afterCall;

    void Start() { Check(f->C_Initialize(nullptr), "C_Initialize"); }

    void End() { Check(f->C_Finalize(nullptr), "C_Finalize"); }

    // Closes the session and ends the module, whatever they answer.
    void EndAnyhow()
    {
        static_cast<void>(f->C_CloseSession(session));
        static_cast<void>(f->C_Finalize(nullptr));
    }

    // The slots of the cards, two for each.
    std::vector<Number> Slots()
    {
        std::vector<Number> slots(16);
        auto count = static_cast<Number>(slots.size());
        Check(f->C_GetSlotList(1, slots.data(), &count), "C_GetSlotList");
        slots.resize(count);
        return slots;
    }

    // Opens a session in the slot of the card's ordinary key; `code` null has the keyboard ask.
    void LogIn(char* code, unsigned card = 0)
    {
        OpenSession(2 * card + 1);
        Check(Login(code), "C_Login");
    }

    void OpenSession(unsigned slot)
    {
        const auto slots = Slots();
        Require(slots.size() > slot, "too few slots");
        Check(f->C_OpenSession(slots[slot], CKF_SERIAL_SESSION, nullptr, nullptr, &session), "C_OpenSession");
    }

    // The answer of the module, whatever it is.
    unsigned long Login(char* code, unsigned user = CKU_USER)
    {
        const auto length = static_cast<Number>(code == nullptr ? 0 : std::string_view(code).size());
        return f->C_Login(session, user, reinterpret_cast<unsigned char*>(code), length);
    }

    void FindKeys()
    {
        privateKey = Find(CKO_PRIVATE_KEY);
        // The library makes no public keys of its own.
        publicKey = Types::isFront ? Find(CKO_PUBLIC_KEY) : MakePublicKey();
    }

    void FindKey() { privateKey = Find(CKO_PRIVATE_KEY); }

    void Sign() { Check(SignAnyhow(), "C_Sign"); }

    // `authorise` is a login between the start and the end of the signature, and answers as C_Login does.
    void SignAuthorised(const std::function<unsigned long()>& authorise)
    {
        auto mechanism = Hashing();
        auto length = static_cast<Number>(output.size());
        Check(f->C_SignInit(session, &mechanism, privateKey), "C_SignInit");
        Check(authorise(), "C_Login");
        Check(f->C_Sign(session, Data(), DataLength(), output.data(), &length), "C_Sign");
    }

    // The answer of C_Sign, whatever it is.
    unsigned long SignAnyhow()
    {
        auto mechanism = Hashing();
        auto length = static_cast<Number>(output.size());
        Check(f->C_SignInit(session, &mechanism, privateKey), "C_SignInit");
        const unsigned long result = f->C_Sign(session, Data(), DataLength(), output.data(), &length);
        if (result == CKR_OK) {
            signature.assign(output.data(), output.data() + length);
        }
        return result;
    }

    void Verify()
    {
        auto mechanism = Hashing();
        Begin(f->C_VerifyInit(session, &mechanism, publicKey), "C_VerifyInit");
        Check(f->C_Verify(session, Data(), DataLength(), signature.data(),
                          static_cast<Number>(signature.size())),
              "C_Verify");
    }

    void Encrypt()
    {
        typename Types::Mechanism mechanism{CKM_RSA_PKCS, nullptr, 0};
        auto length = static_cast<Number>(output.size());
        Begin(f->C_EncryptInit(session, &mechanism, publicKey), "C_EncryptInit");
        Check(f->C_Encrypt(session, Data(), shortData, output.data(), &length), "C_Encrypt");
        encrypted.assign(output.data(), output.data() + length);
    }

    void Decrypt()
    {
        typename Types::Mechanism mechanism{CKM_RSA_PKCS, nullptr, 0};
        auto length = static_cast<Number>(output.size());
        Begin(f->C_DecryptInit(session, &mechanism, privateKey), "C_DecryptInit");
        Check(f->C_Decrypt(session, encrypted.data(), static_cast<Number>(encrypted.size()), output.data(),
                           &length),
              "C_Decrypt");
        Require(length == shortData && std::equal(output.data(), output.data() + length, Data()),
                "C_Decrypt gives something else back");
    }

    void Digest()
    {
        typename Types::Mechanism mechanism{CKM_SHA256, nullptr, 0};
        auto length = static_cast<Number>(output.size());
        Check(f->C_DigestInit(session, &mechanism), "C_DigestInit");
        Check(f->C_Digest(session, Data(), DataLength(), output.data(), &length), "C_Digest");
    }

    void LogOut() { Check(f->C_Logout(session), "C_Logout"); }

    void CloseSession() { Check(f->C_CloseSession(session), "C_CloseSession"); }

    // All of it with the keys of one card; the keyboard asks for the PIN of the qualified key.
    void UseOrdinaryKey(char* code, unsigned card = 0)
    {
        LogIn(code, card);
        FindKeys();
        Digest();
        Sign();
        Verify();
        Encrypt();
        Decrypt();
        LogOut();
        CloseSession();
    }

    void UseQualifiedKey(char* code, unsigned card = 0)
    {
        OpenSession(2 * card);
        Check(Login(code), "C_Login");
        privateKey = Find(CKO_PRIVATE_KEY);
        Sign();
        LogOut();
        CloseSession();
    }

    // From C_Initialize to C_Finalize.
    void UseCard(char* code, unsigned card = 0)
    {
        Start();
        typename Types::Info info{};
        Check(f->C_GetInfo(&info), "C_GetInfo");
        typename Types::TokenInfo token{};
        Check(f->C_GetTokenInfo(Slots().at(2 * card), &token), "C_GetTokenInfo");
        UseOrdinaryKey(code, card);
        UseQualifiedKey(code, card);
        End();
    }

    typename Types::FunctionList* f = nullptr;

private:
    static constexpr Number shortData = 16;

    void Check(unsigned long result, const char* call) const
    {
        if (result != CKR_OK) {
            throw std::runtime_error(std::string(call) + " answers " + std::to_string(result));
        }
        if (afterCall) {
            afterCall(call);
        }
    }

    // The library's operations with public keys don't end by themselves.
    void Begin(unsigned long begun, const char* call) const
    {
        Check(begun == CKR_OPERATION_ACTIVE ? static_cast<unsigned long>(CKR_OK) : begun, call);
    }

    // The library signs a DigestInfo.
    static typename Types::Mechanism Hashing()
    {
        return {static_cast<Number>(Types::isFront ? CKM_SHA256_RSA_PKCS : CKM_RSA_PKCS), nullptr, 0};
    }

    Number Find(unsigned objectClass)
    {
        Number wanted = objectClass;
        typename Types::Attribute record{CKA_CLASS, &wanted, sizeof wanted};
        Number object = 0;
        Number count = 0;
        Check(f->C_FindObjectsInit(session, &record, 1), "C_FindObjectsInit");
        Check(f->C_FindObjects(session, &object, 1, &count), "C_FindObjects");
        Check(f->C_FindObjectsFinal(session), "C_FindObjectsFinal");
        Require(count == 1, "no key is found");
        return object;
    }

    std::vector<unsigned char> Read(unsigned type)
    {
        std::vector<unsigned char> value(1024);
        typename Types::Attribute record{static_cast<Number>(type), value.data(),
                                         static_cast<Number>(value.size())};
        Check(f->C_GetAttributeValue(session, privateKey, &record, 1), "C_GetAttributeValue");
        value.resize(record.ulValueLen);
        return value;
    }

    Number MakePublicKey()
    {
        using Attribute = typename Types::Attribute;
        Number objectClass = CKO_PUBLIC_KEY;
        Number type = CKK_RSA;
        unsigned char yes = 1;
        auto modulus = Read(CKA_MODULUS);
        auto exponent = Read(CKA_PUBLIC_EXPONENT);
        auto bits = static_cast<Number>(modulus.size() * 8);
        std::vector<Attribute> records{
            {CKA_CLASS, &objectClass, sizeof objectClass},
            {CKA_KEY_TYPE, &type, sizeof type},
            {CKA_ENCRYPT, &yes, sizeof yes},
            {CKA_VERIFY, &yes, sizeof yes},
            {CKA_MODULUS_BITS, &bits, sizeof bits},
            {CKA_MODULUS, modulus.data(), static_cast<Number>(modulus.size())},
            {CKA_PUBLIC_EXPONENT, exponent.data(), static_cast<Number>(exponent.size())}};
        Number key = 0;
        Check(f->C_CreateObject(session, records.data(), static_cast<Number>(records.size()), &key),
              "C_CreateObject");
        return key;
    }

    // A DigestInfo of SHA-256, which both can sign.
    unsigned char* Data() { return digestInfo.data(); }
    [[nodiscard]] Number DataLength() const { return static_cast<Number>(digestInfo.size()); }

    Number session = 0;
    Number privateKey = 0;
    Number publicKey = 0;
    std::vector<unsigned char> digestInfo = [] {
        std::vector<unsigned char> bytes{0x30, 0x31, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01,
                                         0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00, 0x04, 0x20};
        bytes.resize(bytes.size() + 32, 0x5A);
        return bytes;
    }();
    std::vector<unsigned char> output = std::vector<unsigned char>(2048);
    std::vector<unsigned char> signature;
    std::vector<unsigned char> encrypted;
};

} // namespace hosts
