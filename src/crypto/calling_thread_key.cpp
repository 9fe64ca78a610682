#include "src/crypto/calling_thread_key.h"

#include <botan/blinding.h>
#include <botan/eme.h>
#include <botan/emsa.h>
#include <botan/numthry.h>
#include <botan/pk_ops.h>
#include <botan/reducer.h>

namespace {

// The number x^d mod n, by the two primes.
class PrivatePower
{
public:
    PrivatePower(const Botan::RSA_PrivateKey& itsKey, Botan::RandomNumberGenerator& itsRandom)
        : key(itsKey), random(itsRandom), publicPower(key.create_encryption_op(random, "Raw", "")),
          modP(key.get_p()), blinder(
                                 key.get_n(), random, [this](const Botan::BigInt& x) { return Raise(x); },
                                 [this](const Botan::BigInt& x) { return inverse_mod(x, key.get_n()); })
    {
    }
    PrivatePower(const PrivatePower&) = delete;
    PrivatePower& operator=(const PrivatePower&) = delete;

    [[nodiscard]] std::size_t Bits() const { return key.get_n().bits(); }
    [[nodiscard]] std::size_t Bytes() const { return key.get_n().bytes(); }

    // Big-endian, as long as the modulus. Throws Botan::Invalid_Argument for a number that is not below it.
    Botan::secure_vector<uint8_t> Of(const uint8_t* bytes, std::size_t length)
    {
        const Botan::BigInt number(bytes, length);
        if (number >= key.get_n()) {
            throw Botan::Invalid_Argument("The number is too large for the key.");
        }
        const Botan::BigInt result = blinder.unblind(OfBlinded(blinder.blind(number)));
        // A wrong result would tell the primes.
        if (Raise(result) != number) {
            throw Botan::Internal_Error("The computation with the private key went wrong.");
        }
        return Botan::BigInt::encode_1363(result, Bytes());
    }

private:
    // x^e mod n
    Botan::BigInt Raise(const Botan::BigInt& x)
    {
        const auto bytes = Botan::BigInt::encode_1363(x, Bytes());
        return Botan::BigInt(publicPower->encrypt(bytes.data(), bytes.size(), random));
    }

    // One half. The exponent gets a random multiple of what leaves the result the same, so that no two
    // computations are alike. Its length tells nothing: one bit more or less doesn't change the number of
    // whole bytes.
    Botan::BigInt OfHalf(const Botan::BigInt& x, const Botan::BigInt& prime, const Botan::BigInt& exponent)
    {
        constexpr std::size_t maskBits = 64;
        const std::size_t bits = maskBits + (8 - prime.bits() % 8) % 8;
        const Botan::BigInt mask(random, bits); // the highest bit is set
        return power_mod(x, exponent + mask * (prime - 1), prime);
    }

    Botan::BigInt OfBlinded(const Botan::BigInt& x)
    {
        const Botan::BigInt& p = key.get_p();
        const Botan::BigInt& q = key.get_q();
        const Botan::BigInt ofP = OfHalf(x, p, key.get_d1());
        const Botan::BigInt ofQ = OfHalf(x, q, key.get_d2());
        // Whether one of the two is the larger one must not show, so p comes first.
        const Botan::BigInt difference = modP.reduce((p + ofP) - ofQ);
        return ofQ + modP.multiply(difference, key.get_c()) * q;
    }

    Botan::RSA_PrivateKey key; // shares its numbers with the one that it was copied from
    Botan::RandomNumberGenerator& random;
    std::unique_ptr<Botan::PK_Ops::Encryption> publicPower;
    Botan::Modular_Reducer modP;
    Botan::Blinder blinder;
};

template <typename Encoding>
std::unique_ptr<Encoding> RequireEncoding(Encoding* made, const std::string& name)
{
    if (made == nullptr) {
        throw Botan::Algorithm_Not_Found(name);
    }
    return std::unique_ptr<Encoding>(made);
}

class SignatureOperation final : public Botan::PK_Ops::Signature
{
public:
    SignatureOperation(const Botan::RSA_PrivateKey& key, Botan::RandomNumberGenerator& random,
                       const std::string& padding)
        : power(key, random), encoding(RequireEncoding(Botan::get_emsa(padding), padding))
    {
    }

    void update(const uint8_t* message, std::size_t length) override { encoding->update(message, length); }

    Botan::secure_vector<uint8_t> sign(Botan::RandomNumberGenerator& random) override
    {
        const auto padded = encoding->encoding_of(encoding->raw_data(), power.Bits() - 1, random);
        return power.Of(padded.data(), padded.size());
    }

    [[nodiscard]] std::size_t signature_length() const override { return power.Bytes(); }

private:
    PrivatePower power;
    std::unique_ptr<Botan::EMSA> encoding;
};

class DecryptionOperation final : public Botan::PK_Ops::Decryption
{
public:
    DecryptionOperation(const Botan::RSA_PrivateKey& key, Botan::RandomNumberGenerator& random,
                        const std::string& padding)
        : power(key, random), encoding(RequireEncoding(Botan::get_eme(padding), padding))
    {
    }

    Botan::secure_vector<uint8_t> decrypt(uint8_t& validMask, const uint8_t* data,
                                          std::size_t length) override
    {
        const auto padded = power.Of(data, length);
        return encoding->unpad(validMask, padded.data(), padded.size());
    }

    [[nodiscard]] std::size_t plaintext_length(std::size_t /*length*/) const override
    {
        return power.Bytes();
    }

private:
    PrivatePower power;
    std::unique_ptr<Botan::EME> encoding;
};

void RequireOwnProvider(const std::string& provider)
{
    if (!provider.empty()) {
        throw Botan::Provider_Not_Found("RSA", provider);
    }
}

} // namespace

CallingThreadKey::CallingThreadKey(const Botan::RSA_PrivateKey& itsKey) : key(itsKey) {}

std::string CallingThreadKey::algo_name() const
{
    return key.algo_name();
}

std::size_t CallingThreadKey::estimated_strength() const
{
    return key.estimated_strength();
}

std::size_t CallingThreadKey::key_length() const
{
    return key.key_length();
}

Botan::AlgorithmIdentifier CallingThreadKey::algorithm_identifier() const
{
    return key.algorithm_identifier();
}

std::vector<uint8_t> CallingThreadKey::public_key_bits() const
{
    return key.public_key_bits();
}

Botan::secure_vector<uint8_t> CallingThreadKey::private_key_bits() const
{
    return key.private_key_bits();
}

bool CallingThreadKey::check_key(Botan::RandomNumberGenerator& random, bool strong) const
{
    return key.check_key(random, strong);
}

std::unique_ptr<Botan::PK_Ops::Signature>
CallingThreadKey::create_signature_op(Botan::RandomNumberGenerator& random, const std::string& padding,
                                      const std::string& provider) const
{
    RequireOwnProvider(provider);
    return std::make_unique<SignatureOperation>(key, random, padding);
}

std::unique_ptr<Botan::PK_Ops::Decryption>
CallingThreadKey::create_decryption_op(Botan::RandomNumberGenerator& random, const std::string& padding,
                                       const std::string& provider) const
{
    RequireOwnProvider(provider);
    return std::make_unique<DecryptionOperation>(key, random, padding);
}
