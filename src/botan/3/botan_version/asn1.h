// ASN.1 as Botan's encoder and decoder take it.
#pragma once

#include <botan/asn1_obj.h>

#include <cstdint>
#include <vector>

inline constexpr auto integerAsn1 = Botan::ASN1_Type::Integer;
inline constexpr auto bitStringAsn1 = Botan::ASN1_Type::BitString;
inline constexpr auto octetStringAsn1 = Botan::ASN1_Type::OctetString;
inline constexpr auto generalizedTimeAsn1 = Botan::ASN1_Type::GeneralizedTime;
inline constexpr auto sequenceAsn1 = Botan::ASN1_Type::Sequence;

inline constexpr auto universalClass = Botan::ASN1_Class::Universal;
inline constexpr auto constructedClass = Botan::ASN1_Class::Constructed;

using Asn1Tag = Botan::ASN1_Type;

inline const Botan::OID& IdentifierOf(const Botan::AlgorithmIdentifier& algorithm)
{
    return algorithm.oid();
}

inline const std::vector<uint8_t>& ParametersOf(const Botan::AlgorithmIdentifier& algorithm)
{
    return algorithm.parameters();
}
