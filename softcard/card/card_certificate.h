// What a card tells of its certificates and keys, which there is limited room for.
#pragma once

#include "softcard/card/card_store.h"

#include <botan/bigint.h>

namespace softcard {

// Throws CardError for a certificate that is longer than the longest that can be told of.
void RequireRoomFor(const CardKey& key);

// The numbers of an RSA key that others may know.
struct PublicNumbers
{
    Botan::BigInt modulus;
    Botan::BigInt exponent;
};

// Those of the certificate's key. Throws CardError when it is no RSA key, or longer than can be told of, and
// Botan::Exception for a certificate that cannot be read.
PublicNumbers PublicNumbersOf(const CardKey& key);

} // namespace softcard
