#include "softcard/card/card_certificate.h"

#include "softcard/card/card_error.h"
#include "src/card/card_api.h"

#include <botan/asn1_obj.h>
#include <botan/ber_dec.h>
#include <botan/pk_keys.h>
#include <botan/rsa.h>
#include <botan_version/asn1.h>

#include <memory>

namespace softcard {
namespace {

constexpr const char* noSuchKey = "The certificate has no key that can be told of.";

// As Botan takes them into a key, but without making one, whose preparation for computations takes a hundred times as
// long.
PublicNumbers DecodeNumbers(const std::vector<uint8_t>& encoded)
{
    constexpr size_t leastBitsOfModulus = 5;
    constexpr size_t leastBitsOfExponent = 2;
    PublicNumbers numbers;
    Botan::BER_Decoder(encoded)
        .start_cons(sequenceAsn1, universalClass)
        .decode(numbers.modulus)
        .decode(numbers.exponent)
        .end_cons();
    const auto& [n, e] = numbers;
    if (n < 0 || n.bits() < leastBitsOfModulus || n.is_even() || e < 0 || e.bits() < leastBitsOfExponent ||
        e.is_even()) {
        throw Botan::Decoding_Error("The numbers of the certificate's key are no RSA key.");
    }
    return numbers;
}

// Null for a key of a kind that Botan was made without, as it was for Windows.
std::unique_ptr<Botan::Public_Key> LoadKey(const Botan::X509_Certificate& certificate)
{
    try {
        return std::unique_ptr<Botan::Public_Key>(certificate.subject_public_key());
    } catch (const Botan::Decoding_Error&) {
        return nullptr;
    }
}

// Of a key that is called otherwise.
PublicNumbers LoadNumbers(const Botan::X509_Certificate& certificate)
{
    const auto key = LoadKey(certificate);
    const auto* rsaKey = dynamic_cast<const Botan::RSA_PublicKey*>(key.get());
    if (rsaKey == nullptr) {
        throw CardError(eInvalidDataDecoded, noSuchKey);
    }
    return {rsaKey->get_n(), rsaKey->get_e()};
}

} // namespace

bool IsOfRsa(const Botan::X509_Certificate& certificate)
{
    return IdentifierOf(certificate.subject_public_key_algo()) == Botan::OID{1, 2, 840, 113549, 1, 1, 1};
}

void RequireRoomFor(const CardKey& key)
{
    if (key.certificate.size() > sizeof CardCertificate::data) {
        throw CardError(eInsuficientBuffer, "The certificate is too long.");
    }
}

PublicNumbers PublicNumbersOf(const CardKey& key)
{
    const Botan::X509_Certificate certificate(key.certificate.data(), key.certificate.size());
    PublicNumbers numbers = IsOfRsa(certificate) ? DecodeNumbers(certificate.subject_public_key_bitstring())
                                                 : LoadNumbers(certificate);
    if (numbers.modulus.bytes() > sizeof CardKeyInfo::modulus ||
        numbers.exponent.bytes() > sizeof CardKeyInfo::publicExponent) {
        throw CardError(eInvalidDataDecoded, noSuchKey);
    }
    return numbers;
}

} // namespace softcard
