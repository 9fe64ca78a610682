// Certificates and key records for scripted cards, made at run time. A key is generated at its first use.
#pragma once

#include "tests/support/scripted_card/scripted_card.h"

#include <botan/rsa.h>

#include <string>

namespace blackbox {

// Number 0 to 3; the same object for the same number. 1024 bits, except number 3, which has 2048.
const Botan::RSA_PrivateKey& TestKey(unsigned number);

// The data signed with that key, as a block of PKCS#1 v1.5. Works in a forked child too.
scripted::Bytes TestSignature(unsigned keyNumber, const scripted::Bytes& data);

// The DigestInfo of a SHA-256 hash.
scripted::Bytes Sha256DigestInfo(const scripted::Bytes& hash);

// A self-signed certificate of that key in DER, with this common name.
scripted::Bytes TestCertificate(unsigned keyNumber, const std::string& commonName);

// The record of that key as a card gives it, least significant byte of the modulus first.
CardKeyInfo TestKeyInfo(unsigned keyNumber, uint32_t keyReference);

scripted::CertifiedKey TestCertifiedKey(unsigned keyNumber, uint32_t keyReference,
                                        const std::string& commonName);

// A card with one certificate in each family: key 0 with reference 2 for QES and key 1 with reference 1 for
// ES.
scripted::Card CertifiedCard();

} // namespace blackbox
