// RSA keys and the operations on them, over Botan. Bytes travel as HexBinary or as byte vectors.
//
// Every operation can throw what Botan throws. Operation objects refer to their key, which must outlive them.
// Every object has its own Botan object: a copy is made anew from the same key and mode, and is as good as
// its source. An object is used by one thread at a time.
#pragma once

#include "tavrik/hex_binary.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Botan {
class AlgorithmIdentifier;
class PK_Decryptor_EME;
class PK_Encryptor_EME;
class PK_Signer;
class PK_Verifier;
class RSA_PrivateKey;
class RSA_PublicKey;
} // namespace Botan

namespace Zelmo::Crypto {

// Ends what the classes below own. An object without fields, so a pointer with it is as wide as a plain one.
struct OwnedEnd
{
    void operator()(Botan::PK_Decryptor_EME* operation) const;
    void operator()(Botan::PK_Encryptor_EME* operation) const;
    void operator()(Botan::PK_Signer* operation) const;
    void operator()(Botan::PK_Verifier* operation) const;
    void operator()(Botan::RSA_PrivateKey* key) const;
    void operator()(Botan::RSA_PublicKey* key) const;
};

template <typename Object>
using Owned = std::unique_ptr<Object, OwnedEnd>;

class RSAPubKey
{
public:
    // Without a Botan key; no operation can use it.
    RSAPubKey();

    // From the two parts of a subjectPublicKeyInfo.
    RSAPubKey(const Botan::AlgorithmIdentifier* algorithm, std::vector<uint8_t> keyBits);

    // From big-endian bytes; leading zeros don't matter.
    RSAPubKey(std::vector<uint8_t> modulus, std::vector<uint8_t> exponent);

    RSAPubKey(const RSAPubKey& other);
    ~RSAPubKey();
    RSAPubKey& operator=(const RSAPubKey& other);

    [[nodiscard]] Botan::RSA_PublicKey* GetBotanPublicKey() const;

    // New, big-endian, without leading zeros; the caller deletes them.
    [[nodiscard]] HexBinary* Get_N() const;
    [[nodiscard]] HexBinary* Get_E() const;

    // Does nothing.
    void SetModulus(const HexBinary* modulus);

private:
    Owned<Botan::RSA_PublicKey> botanKey;
};

class RSAPrivKey
{
public:
    // Without a Botan key; no operation can use it.
    RSAPrivKey();

    // A new key with the public exponent 65537.
    explicit RSAPrivKey(int bits);

    // From the two primes and the public exponent, big-endian.
    RSAPrivKey(const HexBinary* p, const HexBinary* q, const HexBinary* e);

    RSAPrivKey(const RSAPrivKey& other);
    ~RSAPrivKey();

    // The public half stays the same object, to which operations may refer, and gets the value of the
    // other's. When `other` has none, the old one is not freed and is the caller's from here on.
    RSAPrivKey& operator=(const RSAPrivKey& other);

    [[nodiscard]] Botan::RSA_PrivateKey* GetBotanPrivateKey() const;
    [[nodiscard]] RSAPubKey* GetPublicKey() const;

    // Takes over `key`; the one before is not freed and is the caller's from here on.
    void SetPublicKey(RSAPubKey* key);

    // New, big-endian, without leading zeros; the caller deletes them.
    [[nodiscard]] HexBinary* Get_P() const;
    [[nodiscard]] HexBinary* Get_Q() const;
    [[nodiscard]] HexBinary* Get_D() const;
    [[nodiscard]] HexBinary* Get_DP() const;
    [[nodiscard]] HexBinary* Get_DQ() const;

private:
    Owned<Botan::RSA_PrivateKey> botanKey;
    std::unique_ptr<RSAPubKey> publicKey;
};

// Signs and verifies with one key. A mode, here and below, is a Botan padding text such as "EMSA3(SHA-256)".
class RSA
{
public:
    RSA(RSAPrivKey* givenKey, std::string givenMode);
    RSA(RSAPubKey* givenKey, std::string givenMode);
    RSA(const RSA& other);
    ~RSA();
    RSA& operator=(const RSA& other);

    // A new signature, which the caller deletes. Null or empty data sign the empty string. Only for an object
    // made from a private key.
    HexBinary* Sign(const HexBinary* data);

    bool Verify(const HexBinary* message, const HexBinary* signature);

    // The mode of a signature algorithm's object identifier, or an empty text for one that isn't known.
    static std::string GetSignerMode(std::string oid);

private:
    std::string mode;
    RSAPrivKey* privateKey = nullptr; // the caller's
    RSAPubKey* publicKey = nullptr;   // the caller's
    Owned<Botan::PK_Signer> signer;
    Owned<Botan::PK_Verifier> verifier;
};

class RsaSigner
{
public:
    RsaSigner(RSAPrivKey* givenKey, std::string givenMode);
    RsaSigner(const RsaSigner& other);
    ~RsaSigner();
    RsaSigner& operator=(const RsaSigner& other);

    // A new signature, which the caller deletes.
    HexBinary* Sign(const HexBinary* data);

private:
    std::string mode;
    RSAPrivKey* key; // the caller's
    Owned<Botan::PK_Signer> signer;
};

class RsaVerifier
{
public:
    RsaVerifier(RSAPrivKey* givenKey, std::string givenMode);
    RsaVerifier(RSAPubKey* givenKey, std::string givenMode);
    RsaVerifier(const RsaVerifier& other);
    ~RsaVerifier();
    RsaVerifier& operator=(const RsaVerifier& other);

    bool Verify(std::vector<uint8_t> message, std::vector<uint8_t> signature);

private:
    std::string mode;
    RSAPubKey* key; // the caller's
    Owned<Botan::PK_Verifier> verifier;
};

class RsaEncryptor
{
public:
    RsaEncryptor(RSAPrivKey* givenKey, std::string givenMode);
    RsaEncryptor(RSAPubKey* givenKey, std::string givenMode);
    RsaEncryptor(const RsaEncryptor& other);
    ~RsaEncryptor();
    RsaEncryptor& operator=(const RsaEncryptor& other);

    std::vector<uint8_t> Encrypt(std::vector<uint8_t> data);

private:
    std::string mode;
    RSAPubKey* key; // the caller's
    Owned<Botan::PK_Encryptor_EME> encryptor;
};

class RsaDecryptor
{
public:
    RsaDecryptor(RSAPrivKey* givenKey, std::string givenMode);
    RsaDecryptor(const RsaDecryptor& other);
    ~RsaDecryptor();
    RsaDecryptor& operator=(const RsaDecryptor& other);

    // New plain bytes, which the caller deletes.
    HexBinary* Decrypt(const HexBinary* data);

private:
    std::string mode;
    RSAPrivKey* key; // the caller's
    Owned<Botan::PK_Decryptor_EME> decryptor;
};

} // namespace Zelmo::Crypto
