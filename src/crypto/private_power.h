// The arithmetic of an RSA private key, on the calling thread.
#pragma once

#include <botan/pubkey.h>
#include <botan/rsa.h>
#include <botan_version/reducer.h>

#include <cstddef>
#include <cstdint>
#include <span>

// The number x^d mod n, by the two primes. Used by one thread at a time.
class PrivatePower
{
public:
    // Shares the key's numbers, so the key need not live longer; the generator must.
    PrivatePower(const Botan::RSA_PrivateKey& itsKey, Botan::RandomNumberGenerator& itsRandom);

    // Of the modulus.
    [[nodiscard]] std::size_t Bytes() const { return key.get_n().bytes(); }

    // Big-endian, as long as the modulus. Throws Botan::Invalid_Argument for a number that is not below it, and
    // Botan::Internal_Error when the result is wrong.
    Botan::secure_vector<uint8_t> Of(std::span<const uint8_t> bytes);

private:
    Botan::BigInt Raise(const Botan::BigInt& x);
    Botan::BigInt OfHalf(const Botan::BigInt& x, const Botan::BigInt& prime, const Botan::BigInt& exponent);
    Botan::BigInt OfBlinded(const Botan::BigInt& x);
    void PrepareBlinding();

    const Botan::RSA_PrivateKey key;
    Botan::RandomNumberGenerator& random;
    Botan::PK_Encryptor_EME publicPower;
    Botan::Modular_Reducer modN;
    Botan::Modular_Reducer modP;

    // A random number's power, which the number of a computation is multiplied by, and what undoes that behind it: so
    // the computation has other numbers than its caller.
    Botan::BigInt blinding;
    Botan::BigInt unblinding;
    unsigned usesOfBlinding = 0;
};
