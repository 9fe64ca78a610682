// Making certificates.
#pragma once

#include <botan/pubkey.h>
#include <botan/x509_ca.h>
#include <botan/x509_ext.h>

#include <memory>
#include <utility>

// With what Botan::X509_CA::make_cert takes behind the signer.
template <typename... Parts>
Botan::X509_Certificate SignCertificate(Botan::PK_Signer& signer, Parts&&... parts)
{
    return Botan::X509_CA::make_cert(signer, std::forward<Parts>(parts)...);
}

inline void AddExtension(Botan::Extensions& extensions, std::unique_ptr<Botan::Certificate_Extension> added,
                         bool critical)
{
    extensions.add(std::move(added), critical);
}

// An extension that Botan does not know. It is written only. `Extension` is the class that is derived from this one.
template <typename Extension>
class WrittenExtension : public Botan::Certificate_Extension
{
public:
    [[nodiscard]] std::unique_ptr<Botan::Certificate_Extension> copy() const final
    {
        return std::make_unique<Extension>();
    }
    [[nodiscard]] std::string oid_name() const final { return ""; }

private:
    void decode_inner(const std::vector<uint8_t>& /*encoded*/) final {}
};
