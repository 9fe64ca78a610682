#include "front/model/derived_attributes.h"

#include "front/model/mechanisms.h"

#include <botan/asn1_obj.h>
#include <botan/ber_dec.h>
#include <botan/bigint.h>
#include <botan/data_src.h>
#include <botan/der_enc.h>
#include <botan/hash.h>
#include <botan/hex.h>
#include <botan_version/asn1.h>

#include <atomic>

namespace front {
namespace {

constexpr std::size_t checkValueLength = 3; // bytes
constexpr std::size_t uniqueIdLength = 16;  // bytes, told in hexadecimal digits
constexpr uint32_t contextClass = 0xA0;     // context-specific and constructed

// Throws Botan::Exception when the value is no certificate.
Bytes PublicKeyInfoOfCertificate(std::span<const uint8_t> value)
{
    Botan::DataSource_Memory source(value.data(), value.size());
    Botan::BER_Decoder certificate = Botan::BER_Decoder(source).start_cons(sequenceAsn1, universalClass);
    Botan::BER_Decoder content = certificate.start_cons(sequenceAsn1, universalClass);
    // In front of it: perhaps the version; serial number, algorithm, issuer, validity and subject.
    Botan::BER_Object part = content.get_next_object();
    const bool hasVersion =
        static_cast<uint32_t>(part.type()) == 0 && static_cast<uint32_t>(part.get_class()) == contextClass;
    for (int left = hasVersion ? 6 : 5; left > 0; --left) {
        part = content.get_next_object();
    }
    part.assert_is_a(sequenceAsn1, constructedClass, "subject public key info");
    Bytes info;
    Botan::DER_Encoder(info).add_object(sequenceAsn1, constructedClass, part.bits(), part.length());
    return info;
}

Botan::BigInt NumberIn(std::span<const uint8_t> bytes)
{
    return {bytes.data(), bytes.size()};
}

Bytes PublicKeyInfoOfRsa(std::span<const uint8_t> modulus, std::span<const uint8_t> exponent)
{
    const Botan::AlgorithmIdentifier rsa(Botan::OID({1, 2, 840, 113549, 1, 1, 1}),
                                         Botan::AlgorithmIdentifier::USE_NULL_PARAM);
    Bytes key;
    Botan::DER_Encoder(key)
        .start_cons(sequenceAsn1, universalClass)
        .encode(NumberIn(modulus))
        .encode(NumberIn(exponent))
        .end_cons();
    Bytes info;
    Botan::DER_Encoder(info)
        .start_cons(sequenceAsn1, universalClass)
        .encode(rsa)
        .encode(key, bitStringAsn1)
        .end_cons();
    return info;
}

// The first bytes of the SHA-1 of a certificate.
Bytes CheckValueOf(std::span<const uint8_t> certificate)
{
    const auto hash = Botan::HashFunction::create_or_throw("SHA-1");
    hash->update(certificate.data(), certificate.size());
    Bytes value = hash->final_stdvec();
    value.resize(checkValueLength);
    return value;
}

// Those of the front that a key can begin by what it says that it may do.
Bytes AllowedMechanisms(const Attributes& key)
{
    CK_FLAGS operations = 0;
    for (const auto& [permission, operation] : {std::pair(CKA_SIGN, CKF_SIGN),
                                                {CKA_VERIFY, CKF_VERIFY},
                                                {CKA_ENCRYPT, CKF_ENCRYPT},
                                                {CKA_DECRYPT, CKF_DECRYPT}}) {
        operations |= FlagOf(key, permission) ? CK_FLAGS{operation} : 0;
    }
    Bytes allowed;
    for (const Mechanism& mechanism : mechanisms) {
        if (mechanism.usesRsaKey && (mechanism.operations & operations) != 0) {
            const Bytes type = NumberValue(mechanism.type);
            allowed.insert(allowed.end(), type.begin(), type.end());
        }
    }
    return allowed;
}

class ContentHash
{
public:
    // With its length, so that no two contents are the same bytes.
    void Add(std::span<const uint8_t> value)
    {
        Add(static_cast<uint32_t>(value.size()));
        function->update(value.data(), value.size());
    }
    void Add(uint32_t number) { function->update_be(number); }

    Bytes Finish() { return function->final_stdvec(); }

private:
    std::unique_ptr<Botan::HashFunction> function = Botan::HashFunction::create_or_throw("SHA-256");
};

// In the same bytes on every system.
void AddContent(ContentHash& hash, const Attributes& attributes)
{
    hash.Add(static_cast<uint32_t>(NumberOf(attributes, CKA_CLASS).value_or(0)));
    for (const CK_ATTRIBUTE_TYPE type : {CKA_VALUE, CKA_MODULUS, CKA_PUBLIC_EXPONENT}) {
        hash.Add(ValueOf(attributes, type));
    }
}

Bytes TextOf(const Bytes& hash)
{
    return TextValue(Botan::hex_encode(hash.data(), uniqueIdLength, false).c_str());
}

} // namespace

Bytes PublicKeyInfoOf(const Attributes& attributes)
{
    if (IsOfClass(attributes, CKO_CERTIFICATE)) {
        try {
            return PublicKeyInfoOfCertificate(ValueOf(attributes, CKA_VALUE));
        } catch (const Botan::Exception&) {
            return {};
        }
    }
    const auto modulus = ValueOf(attributes, CKA_MODULUS);
    const auto exponent = ValueOf(attributes, CKA_PUBLIC_EXPONENT);
    return modulus.empty() || exponent.empty() ? Bytes() : PublicKeyInfoOfRsa(modulus, exponent);
}

void AddDerived(Attributes& attributes)
{
    if (!attributes.contains(CKA_PUBLIC_KEY_INFO)) {
        attributes[CKA_PUBLIC_KEY_INFO] = PublicKeyInfoOf(attributes);
    }
    if (IsOfClass(attributes, CKO_CERTIFICATE)) {
        attributes.insert({CKA_CHECK_VALUE, CheckValueOf(ValueOf(attributes, CKA_VALUE))});
    } else {
        attributes.insert({CKA_ALLOWED_MECHANISMS, AllowedMechanisms(attributes)});
    }
}

Bytes UniqueIds::OfCardObject(const Attributes& attributes, std::span<const uint8_t> certificate)
{
    ContentHash content;
    AddContent(content, attributes);
    content.Add(certificate);
    const Bytes hash = content.Finish();
    ContentHash whole;
    whole.Add(hash);
    whole.Add(alike[hash]++);
    return TextOf(whole.Finish());
}

Bytes NewUniqueId(const Attributes& attributes)
{
    static std::atomic<uint32_t> last{0};
    ContentHash content;
    AddContent(content, attributes);
    content.Add(++last);
    return TextOf(content.Finish());
}

} // namespace front
