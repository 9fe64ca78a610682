#include "src/crypto/private_power.h"

#include "src/botan/big_int_bytes.h"

#include <botan/numthry.h>

namespace {

constexpr unsigned mostUsesOfBlinding = 64;

} // namespace

PrivatePower::PrivatePower(const Botan::RSA_PrivateKey& itsKey, Botan::RandomNumberGenerator& itsRandom)
    : key(itsKey), random(itsRandom), publicPower(key, random, "Raw"), modN(MakeReducer(key.get_n())),
      modP(MakeReducer(key.get_p()))
{
}

Botan::secure_vector<uint8_t> PrivatePower::Of(std::span<const uint8_t> bytes)
{
    const Botan::BigInt number(bytes.data(), bytes.size());
    if (number >= key.get_n()) {
        throw Botan::Invalid_Argument("The number is too large for the key.");
    }
    PrepareBlinding();
    const Botan::BigInt result = modN.multiply(OfBlinded(modN.multiply(number, blinding)), unblinding);
    // A wrong result would tell the primes.
    if (Raise(result) != number) {
        throw Botan::Internal_Error("The computation with the private key went wrong.");
    }
    return BigIntBytes<Botan::secure_vector<uint8_t>>(result, Bytes());
}

// x^e mod n
Botan::BigInt PrivatePower::Raise(const Botan::BigInt& x)
{
    const auto bytes = BigIntBytes<Botan::secure_vector<uint8_t>>(x, Bytes());
    return Botan::BigInt(publicPower.encrypt(bytes.data(), bytes.size(), random));
}

// One half. The exponent gets a random multiple of what leaves the result the same, so that no two computations are alike.
// Its length tells nothing: one bit more or less doesn't change the number of whole bytes.
Botan::BigInt PrivatePower::OfHalf(const Botan::BigInt& x, const Botan::BigInt& prime,
                                   const Botan::BigInt& exponent)
{
    constexpr std::size_t maskBits = 64;
    const std::size_t bits = maskBits + (8 - prime.bits() % 8) % 8;
    const Botan::BigInt mask(random, bits); // the highest bit is set
    return power_mod(x, exponent + mask * (prime - 1), prime);
}

Botan::BigInt PrivatePower::OfBlinded(const Botan::BigInt& x)
{
    const Botan::BigInt& p = key.get_p();
    const Botan::BigInt& q = key.get_q();
    const Botan::BigInt ofP = OfHalf(x, p, key.get_d1());
    const Botan::BigInt ofQ = OfHalf(x, q, key.get_d2());
    // Whether one of the two is the larger one must not show, so p comes first.
    const Botan::BigInt difference = modP.reduce((p + ofP) - ofQ);
    return ofQ + modP.multiply(difference, key.get_c()) * q;
}

// Other numbers for each computation: the squares of the last ones, and new ones at times.
void PrivatePower::PrepareBlinding()
{
    if (usesOfBlinding % mostUsesOfBlinding == 0) {
        const auto x = Botan::BigInt::random_integer(random, 2, key.get_n());
        blinding = Raise(x);
        unblinding = inverse_mod(x, key.get_n());
    } else {
        blinding = modN.square(blinding);
        unblinding = modN.square(unblinding);
    }
    ++usesOfBlinding;
}
