#include "softcard/cardapi/system/private_power.h"

#include "src/crypto/private_power.h"

#include <botan/auto_rng.h>

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
    return ::PrivatePower(numbers->key, random).Of(number);
}

} // namespace softcard
