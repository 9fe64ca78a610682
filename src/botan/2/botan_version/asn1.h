// ASN.1 as Botan's encoder and decoder take it.
#pragma once

#include <botan/asn1_obj.h>

#include <cstdint>
#include <vector>

inline constexpr auto integerAsn1 = Botan::INTEGER;
inline constexpr auto bitStringAsn1 = Botan::BIT_STRING;
inline constexpr auto octetStringAsn1 = Botan::OCTET_STRING;
inline constexpr auto generalizedTimeAsn1 = Botan::GENERALIZED_TIME;
inline constexpr auto sequenceAsn1 = Botan::SEQUENCE;

inline constexpr auto universalClass = Botan::UNIVERSAL;
inline constexpr auto constructedClass = Botan::CONSTRUCTED;

using Asn1Tag = Botan::ASN1_Tag;

inline const Botan::OID& IdentifierOf(const Botan::AlgorithmIdentifier& algorithm)
{
    return algorithm.get_oid();
}

inline const std::vector<uint8_t>& ParametersOf(const Botan::AlgorithmIdentifier& algorithm)
{
    return algorithm.get_parameters();
}
