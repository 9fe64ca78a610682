// What a card tells of its certificates and keys, which there is limited room for.
#pragma once

#include "softcard/card/card_store.h"

#include <botan/bigint.h>
#include <botan/x509cert.h>

namespace softcard {

// Whether the certificate's key is an RSA key for any use. One for RSA-PSS alone is not, which Botan may load as an RSA key.
bool IsOfRsa(const Botan::X509_Certificate& certificate);

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
