// RSA keys and the operations on them, made with Botan.
//
// Every constructor and every operation can throw Botan::Exception or what else Botan throws, all of which derive
// from std::exception. A pointer must not be null unless its function says so. A key without a Botan key, as the
// default constructors make it, can only be copied, assigned to and asked for its pointers.
//
// The objects of the operations keep the pointer to their key, which must live longer than they. Each object has a
// Botan object of its own: a copy makes a new one from the same key and mode. An object is used by one thread at a
// time.
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

// Deletes what the classes below own. It has no fields, so that a pointer with it is as wide as a plain one.
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
    // Without a Botan key.
    RSAPubKey();

    // From the two parts of a subjectPublicKeyInfo: the algorithm, and the DER of the RSAPublicKey.
    RSAPubKey(const Botan::AlgorithmIdentifier* algorithm, std::vector<uint8_t> keyBits);

    // From big-endian bytes; leading zeros make no difference.
    RSAPubKey(std::vector<uint8_t> modulus, std::vector<uint8_t> exponent);

    RSAPubKey(const RSAPubKey& other);
    ~RSAPubKey();
    RSAPubKey& operator=(const RSAPubKey& other);

    // The object's own; null without a Botan key.
    [[nodiscard]] Botan::RSA_PublicKey* GetBotanPublicKey() const;

    // New, big-endian, without leading zeros; the caller deletes them.
    [[nodiscard]] HexBinary* Get_N() const;
    [[nodiscard]] HexBinary* Get_E() const;

    // Does nothing; `modulus` may be null.
    void SetModulus(const HexBinary* modulus);

private:
    Owned<Botan::RSA_PublicKey> botanKey;
};

class RSAPrivKey
{
public:
    // Without a Botan key and without a public key.
    RSAPrivKey();

    // A new key of `bits` bits with the public exponent 65537. Botan says which sizes it makes: from 1024 on.
    explicit RSAPrivKey(int bits);

    // From the two primes and the public exponent, big-endian.
    RSAPrivKey(const HexBinary* p, const HexBinary* q, const HexBinary* e);

    RSAPrivKey(const RSAPrivKey& other);
    ~RSAPrivKey();

    // The public key stays the same object, since operations may have its address, and gets the value of the
    // other's. When `other` has none, the old one is not deleted and belongs to the caller from then on.
    RSAPrivKey& operator=(const RSAPrivKey& other);

    // The object's own; null when it has none.
    [[nodiscard]] Botan::RSA_PrivateKey* GetBotanPrivateKey() const;
    [[nodiscard]] RSAPubKey* GetPublicKey() const;

    // Takes over `key`, which may be null. The one before is not deleted and belongs to the caller from then on.
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

// Signs and verifies with one key. A mode, here and below, is what Botan calls a padding, such as "EMSA3(SHA-256)".
class RSA
{
public:
    RSA(RSAPrivKey* givenKey, std::string givenMode);
    RSA(RSAPubKey* givenKey, std::string givenMode);
    RSA(const RSA& other);
    ~RSA();
    RSA& operator=(const RSA& other);

    // A new signature, which the caller deletes. Null counts as no bytes. Only for an object that was made from a
    // private key.
    HexBinary* Sign(const HexBinary* data);

    // Whether `signature` is that of `message`. Null counts as no bytes.
    bool Verify(const HexBinary* message, const HexBinary* signature);

    // The mode of a signature algorithm by its object identifier, such as "1.2.840.113549.1.1.11"; empty for one that
    // is not known: SHA-1, SHA-256, SHA-384 and SHA-512 with RSA are.
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

    // A new signature, which the caller deletes. Null counts as no bytes.
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

    // Whether `signature` is that of `message`.
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

    // The encrypted data, as long as the modulus. The mode says how long `data` may be.
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

    // The decrypted data, new, which the caller deletes. Null counts as no bytes.
    HexBinary* Decrypt(const HexBinary* data);

private:
    std::string mode;
    RSAPrivKey* key; // the caller's
    Owned<Botan::PK_Decryptor_EME> decryptor;
};

} // namespace Zelmo::Crypto
