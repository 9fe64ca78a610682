// A token of a module that was started: two slots, one of them logged in, with a certificate and a private key there.
#pragma once

#include "bench/module.h"
#include "bench/signed_data.h"

#include <algorithm>
#include <array>
#include <random>
#include <vector>

namespace bench {

inline constexpr char code[] = "123456"; // of every card and token

// Into the same order in every run.
template <typename Value>
void Shuffle(std::vector<Value>& values)
{
    std::mt19937 always(1); // NOLINT(cert-msc32-c,cert-msc51-cpp): predictable it is to be
    std::shuffle(values.begin(), values.end(), always);
}

template <class Form>
typename Form::Ulong SlotOf(typename Form::FunctionList* f, const std::string& label)
{
    using Ulong = typename Form::Ulong;
    std::array<Ulong, 64> slots{};
    auto count = static_cast<Ulong>(slots.size());
    Require(f->C_GetSlotList(CK_TRUE, slots.data(), &count), "C_GetSlotList");
    for (Ulong i = 0; i < count; ++i) {
        typename Form::TokenInfo info{};
        Require(f->C_GetTokenInfo(slots[i], &info), "C_GetTokenInfo");
        if (std::string(reinterpret_cast<const char*>(info.label), sizeof(info.label)).find(label) !=
            std::string::npos) {
            return slots[i];
        }
    }
    throw std::runtime_error("there is no token " + label);
}

template <class Form>
void Login(typename Form::FunctionList* f, typename Form::Ulong session)
{
    auto text = std::to_array(code);
    Require(f->C_Login(session, CKU_USER, reinterpret_cast<unsigned char*>(text.data()), text.size() - 1),
            "C_Login");
}

template <class Form>
class Token
{
public:
    using Ulong = typename Form::Ulong;

    // Throws std::runtime_error when the module lacks any of it.
    explicit Token(const std::filesystem::path& module) : f(LoadModule<Form>(module))
    {
        Require(Start<Form>(f), "C_Initialize");
        slot = SlotOf<Form>(f, "Sig_EP");
        otherSlot = SlotOf<Form>(f, "Sig_ZEP");
        session = Open(slot);
        Login();
        certificate = Find(CKO_CERTIFICATE);
        privateKey = Find(CKO_PRIVATE_KEY);
    }
    ~Token() { static_cast<void>(f->C_Finalize(nullptr)); }
    Token(const Token&) = delete;
    Token& operator=(const Token&) = delete;

    [[nodiscard]] Ulong Open(Ulong in) const
    {
        Ulong opened = 0;
        Require(f->C_OpenSession(in, CKF_SERIAL_SESSION, nullptr, nullptr, &opened), "C_OpenSession");
        return opened;
    }
    void Close(Ulong opened) const { Require(f->C_CloseSession(opened), "C_CloseSession"); }
    void Login() const { bench::Login<Form>(f, session); }

    // The first object of the class.
    [[nodiscard]] Ulong Find(Ulong objectClass) const
    {
        typename Form::Attribute wanted{CKA_CLASS, &objectClass, sizeof(objectClass)};
        Ulong found = 0;
        Ulong count = 0;
        Require(f->C_FindObjectsInit(session, &wanted, 1), "C_FindObjectsInit");
        Require(f->C_FindObjects(session, &found, 1, &count), "C_FindObjects");
        Require(f->C_FindObjectsFinal(session), "C_FindObjectsFinal");
        if (count == 0) {
            throw std::runtime_error("an object is missing");
        }
        return found;
    }

    // A public key that goes with the session.
    [[nodiscard]] Ulong Create(Ulong creator, const SignedData& key) const
    {
        using Attribute = typename Form::Attribute;
        Ulong keyClass = CKO_PUBLIC_KEY;
        Ulong type = CKK_RSA;
        unsigned char yes = CK_TRUE;
        unsigned char no = CK_FALSE;
        Bytes modulus = key.modulus;
        Bytes exponent = key.exponent;
        std::array<Attribute, 8> records{
            Attribute{CKA_CLASS, &keyClass, sizeof(keyClass)},
            {CKA_KEY_TYPE, &type, sizeof(type)},
            {CKA_TOKEN, &no, 1},
            {CKA_PRIVATE, &no, 1},
            {CKA_VERIFY, &yes, 1},
            {CKA_ENCRYPT, &yes, 1},
            {CKA_MODULUS, modulus.data(), static_cast<Ulong>(modulus.size())},
            {CKA_PUBLIC_EXPONENT, exponent.data(), static_cast<Ulong>(exponent.size())}};
        Ulong created = 0;
        Require(f->C_CreateObject(creator, records.data(), records.size(), &created), "C_CreateObject");
        return created;
    }

    // Makes the key that verifies and encrypts.
    void UseKey(const SignedData& key)
    {
        signedData = key;
        publicKey = Create(session, key);
    }

    // From now on, so many sessions are open in the slot beside the token's own.
    void SetSessions(std::size_t sessions)
    {
        while (crowd.size() > sessions) {
            Close(crowd.back());
            crowd.pop_back();
        }
        while (crowd.size() < sessions) {
            crowd.push_back(Open(slot));
        }
        ShuffleOnce();
    }
    // A session of the crowd, each in turn, in an order by chance.
    Ulong NextOfCrowd() { return shuffled[next = (next + 1) % shuffled.size()]; }

    // From now on, so many public keys are there beside others, of a session of their own. Not with the library, whose
    // objects stay when their session closes.
    void SetObjects(std::size_t count)
    {
        if (objects > count) {
            Close(owner);
            objects = 0;
        }
        if (objects == 0 && count > 0) {
            owner = Open(slot);
        }
        for (; objects < count; ++objects) {
            static_cast<void>(Create(owner, signedData));
        }
    }

    typename Form::FunctionList* f;
    Ulong slot = 0;
    Ulong otherSlot = 0;
    Ulong session = 0;
    Ulong certificate = 0;
    Ulong privateKey = 0;
    Ulong publicKey = 0;
    SignedData signedData;

private:
    void ShuffleOnce()
    {
        if (shuffled.size() != crowd.size()) {
            shuffled = crowd;
            Shuffle(shuffled);
        }
    }

    std::vector<Ulong> crowd;
    std::vector<Ulong> shuffled;
    std::size_t next = 0;
    std::size_t objects = 0;
    Ulong owner = 0;
};

} // namespace bench
