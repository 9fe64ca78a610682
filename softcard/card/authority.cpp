#include "softcard/card/authority.h"

#include "softcard/card/file_trouble.h"
#include "softcard/card/key_file.h"
#include "softcard/system/files.h"

#include <botan/auto_rng.h>
#include <botan/der_enc.h>
#include <botan/exceptn.h>
#include <botan/pubkey.h>
#include <botan_version/asn1.h>
#include <botan_version/certificates.h>

#include <chrono>

namespace softcard {
namespace {

// A process that waits for another to make the authority waits for two keys, on a slow machine too.
constexpr std::chrono::minutes longestMaking{5};

constexpr size_t authorityBits = 2048;
constexpr int authorityYears = 20;
constexpr int holderYears = 5;
constexpr const char* sha256WithRsa = "1.2.840.113549.1.1.11";

// As Botan numbers them.
namespace key_usage {
constexpr uint32_t digitalSignature = 1U << 15U;
constexpr uint32_t nonRepudiation = 1U << 14U;
constexpr uint32_t keyEncipherment = 1U << 13U;
constexpr uint32_t certificateSign = 1U << 10U;
constexpr uint32_t listSign = 1U << 9U;
} // namespace key_usage

// Says that a certificate is a qualified one and that its key lies in a signature-creation device.
class QualifiedStatements final : public WrittenExtension<QualifiedStatements>
{
public:
    [[nodiscard]] Botan::OID oid_of() const override { return Botan::OID("1.3.6.1.5.5.7.1.3"); }

private:
    [[nodiscard]] std::vector<uint8_t> encode_inner() const override
    {
        std::vector<uint8_t> encoded;
        Botan::DER_Encoder encoder(encoded);
        encoder.start_cons(sequenceAsn1, universalClass);
        for (const char* statement : {"0.4.0.1862.1.1", "0.4.0.1862.1.4"}) {
            encoder.start_cons(sequenceAsn1, universalClass).encode(Botan::OID(statement)).end_cons();
        }
        encoder.end_cons();
        return encoded;
    }
};

struct Validity
{
    Botan::X509_Time begin;
    Botan::X509_Time end;
};

Validity ValidFor(int years)
{
    using std::chrono::days;
    const auto begin = std::chrono::system_clock::now() - days(1);
    const auto midnight = std::chrono::floor<days>(begin);
    std::chrono::year_month_day date(midnight);
    date += std::chrono::years(years);
    if (!date.ok()) {
        date = date.year() / date.month() / std::chrono::last;
    }
    return {Botan::X509_Time(begin), Botan::X509_Time(std::chrono::sys_days(date) + (begin - midnight))};
}

Botan::X509_DN MakeName(const std::string& commonName)
{
    Botan::X509_DN name;
    name.add_attribute("X520.Country", "XX");
    name.add_attribute("X520.Organization", "Tavrik software card");
    name.add_attribute("X520.CommonName", commonName);
    return name;
}

template <typename Extension, typename... Arguments>
void Add(Botan::Extensions& extensions, bool critical, Arguments&&... arguments)
{
    AddExtension(extensions, std::make_unique<Extension>(std::forward<Arguments>(arguments)...), critical);
}

void AddConstraints(Botan::Extensions& extensions, const Botan::Cert_Extension::Basic_Constraints& basic,
                    uint32_t usage)
{
    Add<Botan::Cert_Extension::Basic_Constraints>(extensions, true, basic);
    Add<Botan::Cert_Extension::Key_Usage>(extensions, true, Botan::Key_Constraints(usage));
}

// What signs a certificate: an authority's key and name, or those of the certificate itself.
struct Signer
{
    const Botan::RSA_PrivateKey& key;
    Botan::X509_DN name;
};

Botan::X509_Certificate Certify(const Signer& signer, const Botan::RSA_PublicKey& key,
                                const Botan::X509_DN& name, int years, Botan::Extensions extensions)
{
    Botan::AutoSeeded_RNG random;
    const Botan::AlgorithmIdentifier algorithm(Botan::OID(sha256WithRsa),
                                               Botan::AlgorithmIdentifier::USE_NULL_PARAM);
    Botan::PK_Signer operation(signer.key, random, "EMSA3(SHA-256)");
    Add<Botan::Cert_Extension::Subject_Key_ID>(extensions, false, key.public_key_bits(), "SHA-1");
    Add<Botan::Cert_Extension::Authority_Key_ID>(
        extensions, false,
        Botan::Cert_Extension::Subject_Key_ID(signer.key.public_key_bits(), "SHA-1").get_key_id());
    const Validity validity = ValidFor(years);
    return SignCertificate(operation, random, algorithm, key.subject_public_key(), validity.begin,
                           validity.end, signer.name, name, extensions);
}

Botan::X509_Certificate CertifyAuthority(const Signer& signer, const Botan::RSA_PublicKey& key,
                                         const Botan::X509_DN& name, size_t pathLimit)
{
    Botan::Extensions extensions;
    AddConstraints(extensions, {true, pathLimit}, key_usage::certificateSign | key_usage::listSign);
    return Certify(signer, key, name, authorityYears, extensions);
}

Botan::X509_Certificate ReadCertificate(const std::filesystem::path& path)
{
    const std::string content = ReadFile(path);
    try {
        return Botan::X509_Certificate(reinterpret_cast<const uint8_t*>(content.data()), content.size());
    } catch (const Botan::Exception&) {
        throw FileTrouble(path, "holds no certificate that can be read", mendAuthority);
    }
}

void MakeAuthority(const std::filesystem::path& folder)
{
    Botan::AutoSeeded_RNG random;
    const Botan::RSA_PrivateKey rootKey(random, authorityBits);
    const Botan::RSA_PrivateKey issuingKey(random, authorityBits);
    const Signer root{rootKey, MakeName("Tavrik Software Card Root CA")};
    const auto rootCertificate = CertifyAuthority(root, rootKey, root.name, 1);
    const auto issuingCertificate =
        CertifyAuthority(root, issuingKey, MakeName("Tavrik Software Card Issuing CA"), 0);
    WriteClearKeyFile(folder / "root.key", rootKey);
    WriteFileAtomically(folder / "root.pem", rootCertificate.PEM_encode());
    WriteClearKeyFile(folder / "issuing.key", issuingKey);
    // The last file written: an authority that has it is complete.
    WriteFileAtomically(folder / "issuing.pem", issuingCertificate.PEM_encode());
}

} // namespace

Authority::Authority(const Directories& directories)
{
    const std::filesystem::path folder = directories.Authority();
    EnsurePrivateFolder(folder);
    const FileLock lock(folder / "lock", longestMaking);
    if (!std::filesystem::exists(folder / "issuing.pem")) {
        MakeAuthority(folder);
    }
    issuingKey = ReadClearKeyFile(folder / "issuing.key");
    issuingCertificate = ReadCertificate(folder / "issuing.pem");
}

Botan::X509_Certificate Authority::Issue(const Botan::RSA_PublicKey& key, const Holder& holder,
                                         KeyFamily family) const
{
    Botan::X509_DN name = MakeName(holder.commonName);
    name.add_attribute("X520.SerialNumber", holder.serialNumber);
    Botan::Extensions extensions;
    if (family == KeyFamily::qualified) {
        AddConstraints(extensions, {false}, key_usage::nonRepudiation);
        Add<QualifiedStatements>(extensions, false);
    } else {
        AddConstraints(extensions, {false}, key_usage::digitalSignature | key_usage::keyEncipherment);
        Add<Botan::Cert_Extension::Extended_Key_Usage>(
            extensions, false,
            std::vector{Botan::OID::from_string("PKIX.ClientAuth"),
                        Botan::OID::from_string("PKIX.EmailProtection")});
    }
    return Certify({*issuingKey, issuingCertificate.subject_dn()}, key, name, holderYears, extensions);
}

} // namespace softcard
