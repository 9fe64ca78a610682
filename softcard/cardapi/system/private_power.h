// The arithmetic of a private key.
#pragma once

#include <botan/rsa.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace softcard {

// The number x^d mod n. It has numbers of its own, made once for any number of computations, which it wipes at its
// end. All members can be called on several threads at once, and in forked children; none starts a thread.
class PrivatePower
{
public:
    // A key whose numbers do not fit together is taken; its computations fail.
    explicit PrivatePower(const Botan::RSA_PrivateKey& key);
    ~PrivatePower();
    PrivatePower(const PrivatePower&) = delete;
    PrivatePower& operator=(const PrivatePower&) = delete;

    // Of the modulus.
    [[nodiscard]] size_t Bits() const;
    [[nodiscard]] size_t Bytes() const { return (Bits() + 7) / 8; }

    // Big-endian; what is given has any length, the result that of the modulus. Throws Botan::Invalid_Argument for a
    // number that is not below the modulus, and Botan::Internal_Error when the result is wrong.
    [[nodiscard]] Botan::secure_vector<uint8_t> Of(std::span<const uint8_t> number) const;

private:
    class Numbers;
    const std::unique_ptr<const Numbers> numbers;
};

} // namespace softcard
