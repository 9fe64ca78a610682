#include "softcard/card/card_certificate.h"

#include "softcard/card/card_error.h"
#include "src/card/card_api.h"

#include <botan/pk_keys.h>
#include <botan/x509cert.h>

namespace softcard {

void RequireRoomFor(const CardKey& key)
{
    if (key.certificate.size() > sizeof CardCertificate::data) {
        throw CardError(eInsuficientBuffer, "The certificate is too long.");
    }
}

Botan::RSA_PublicKey PublicKeyOf(const CardKey& key)
{
    const Botan::X509_Certificate certificate(key.certificate.data(), key.certificate.size());
    const auto publicKey = certificate.load_subject_public_key();
    const auto* rsaKey = dynamic_cast<const Botan::RSA_PublicKey*>(publicKey.get());
    if (rsaKey == nullptr || rsaKey->get_n().bytes() > sizeof CardKeyInfo::modulus ||
        rsaKey->get_e().bytes() > sizeof CardKeyInfo::publicExponent) {
        throw CardError(eInvalidDataDecoded, "The certificate has no key that can be told of.");
    }
    return *rsaKey;
}

} // namespace softcard
