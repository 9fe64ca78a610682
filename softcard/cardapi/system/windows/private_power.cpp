#include "softcard/cardapi/system/private_power.h"

#include "src/crypto/calling_thread_key.h"

#include <botan/auto_rng.h>
#include <botan/pubkey.h>

#include <algorithm>

namespace softcard {

class PrivatePower::Numbers
{
public:
    explicit Numbers(const Botan::RSA_PrivateKey& itsKey) : key(itsKey) {}

    const Botan::RSA_PrivateKey key;
};

PrivatePower::PrivatePower(const Botan::RSA_PrivateKey& key) : numbers(std::make_unique<const Numbers>(key))
{
}

PrivatePower::~PrivatePower() = default;

size_t PrivatePower::Bits() const
{
    return numbers->key.get_n().bits();
}

Botan::secure_vector<uint8_t> PrivatePower::Of(std::span<const uint8_t> number) const
{
    Botan::AutoSeeded_RNG random;
    const Botan::PK_Decryptor_EME decryptor(CallingThreadKey(numbers->key), random, "Raw");
    const auto result = decryptor.decrypt(number.data(), number.size()); // without the zeros in front
    Botan::secure_vector<uint8_t> bytes(Bytes());
    std::copy_backward(result.begin(), result.end(), bytes.end());
    return bytes;
}

} // namespace softcard
