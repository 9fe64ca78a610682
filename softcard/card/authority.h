// The store's own certification authority: a root and an issuing one under it, made on first use. Their
// certificates lie in the store as `authority/root.pem` and `authority/issuing.pem`.
#pragma once

#include "softcard/card/card_store.h"
#include "softcard/card/directories.h"

#include <botan/rsa.h>
#include <botan/x509cert.h>

#include <memory>
#include <string>

namespace softcard {

struct Holder
{
    std::string commonName;   // UTF-8
    std::string serialNumber; // the card's
};

class Authority
{
public:
    // Throws std::exception when the authority can be neither read nor made.
    explicit Authority(const Directories& directories);

    // A certificate for five years from yesterday, qualified or ordinary as the family asks.
    [[nodiscard]] Botan::X509_Certificate Issue(const Botan::RSA_PublicKey& key, const Holder& holder,
                                                KeyFamily family) const;

private:
    std::shared_ptr<const Botan::RSA_PrivateKey> issuingKey;
    Botan::X509_Certificate issuingCertificate;
};

} // namespace softcard
