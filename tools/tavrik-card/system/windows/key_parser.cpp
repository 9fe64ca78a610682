// With Botan, which knows PEM and DER: PKCS#8 for keys, encrypted (PBES2) or not, and PKCS#1 in clear. Bundles are Windows'.
#include "tools/tavrik-card/system/key_parser.h"

#include "softcard/base/store_error.h"
#include "tools/tavrik-card/system/windows/key_bundle.h"

#include <botan/ber_dec.h>
#include <botan/data_src.h>
#include <botan/pem.h>
#include <botan/pkcs8.h>
#include <botan/rsa.h>
#include <botan/x509cert.h>
#include <botan_version/asn1.h>

#include <memory>
#include <string_view>
#include <vector>

namespace softcard {
namespace {

struct PemBlock
{
    std::string label;
    SecretBytes content;
};

[[noreturn]] void Refuse(const std::string& sentence)
{
    throw StoreError(StoreFailure::notImportable, sentence);
}

// The blocks that can be decoded; what stands between them does not matter.
std::vector<PemBlock> PemBlocksOf(std::string_view text)
{
    constexpr std::string_view begin = "-----BEGIN ";
    constexpr std::string_view dashes = "-----";
    std::vector<PemBlock> blocks;
    for (size_t start = text.find(begin); start != std::string_view::npos; start = text.find(begin, start)) {
        const size_t labelStart = start + begin.size();
        const std::string label(text.substr(labelStart, text.find(dashes, labelStart) - labelStart));
        const std::string last = "-----END " + label + "-----";
        const size_t end = text.find(last, labelStart);
        if (end == std::string_view::npos) {
            break;
        }
        PemBlock block{label, {}};
        try {
            const SecretString framed{std::string(text.substr(start, end + last.size() - start))};
            std::string decodedLabel;
            block.content = Botan::PEM_Code::decode(framed.text, decodedLabel);
        } catch (const Botan::Exception&) {
            block.content.clear(); // one with headers, such as an encrypted key of the old kind
        }
        blocks.push_back(std::move(block));
        start = end;
    }
    return blocks;
}

SecretBytes BytesOf(std::string_view text)
{
    return {text.begin(), text.end()};
}

using RsaKey = std::unique_ptr<Botan::RSA_PrivateKey>;

constexpr char noKey[] = "There is no private key that can be read, or the password is wrong.";

// A key of another kind is refused. Throws Botan::Exception for what is no key.
RsaKey LoadPkcs8(const SecretBytes& der)
{
    size_t version = 0;
    Botan::AlgorithmIdentifier algorithm;
    SecretBytes key;
    Botan::BER_Decoder(der)
        .start_cons(sequenceAsn1, universalClass)
        .decode(version)
        .decode(algorithm)
        .decode(key, octetStringAsn1);
    if (IdentifierOf(algorithm).to_string() != "1.2.840.113549.1.1.1") {
        Refuse("The private key is not an RSA key.");
    }
    return std::make_unique<Botan::RSA_PrivateKey>(algorithm, key);
}

RsaKey LoadEncrypted(const SecretBytes& der, const AskPassword& askPassword)
{
    Botan::AlgorithmIdentifier algorithm;
    Botan::BER_Decoder(der).start_cons(sequenceAsn1, universalClass).decode(algorithm);
    if (IdentifierOf(algorithm).to_string() != "1.2.840.113549.1.5.13") {
        Refuse("The private key is encrypted in an old way; it can be imported as PKCS#12.");
    }
    const SecretText password = askPassword();
    const SecretString text(std::string(password.begin(), password.end()));
    Botan::DataSource_Memory source(der);
    std::unique_ptr<Botan::Private_Key> loaded = Botan::PKCS8::load_key(source, text.text);
    auto* key = dynamic_cast<Botan::RSA_PrivateKey*>(loaded.get());
    if (key == nullptr) {
        Refuse("The private key is not an RSA key.");
    }
    (void)loaded.release();
    return RsaKey(key);
}

// The first private key among the blocks.
RsaKey LoadFromPem(const std::vector<PemBlock>& blocks, const AskPassword& askPassword)
{
    for (const PemBlock& block : blocks) {
        if (block.label == "PRIVATE KEY") {
            return LoadPkcs8(block.content);
        }
        if (block.label == "ENCRYPTED PRIVATE KEY") {
            return LoadEncrypted(block.content, askPassword);
        }
        if (block.label == "RSA PRIVATE KEY") {
            if (block.content.empty()) {
                Refuse("The private key is encrypted in an old way; it can be imported as encrypted PKCS#8.");
            }
            return std::make_unique<Botan::RSA_PrivateKey>(Botan::AlgorithmIdentifier(), block.content);
        }
    }
    Refuse(noKey);
}

RsaKey LoadKey(const std::string& content, const AskPassword& askPassword)
{
    try {
        const auto blocks = PemBlocksOf(content);
        return blocks.empty() ? LoadPkcs8(BytesOf(content)) : LoadFromPem(blocks, askPassword);
    } catch (const Botan::Exception&) {
        Refuse(noKey);
    }
}

// The content of each certificate; a file without frames is one.
std::vector<SecretBytes> CertificatesOf(const std::string& content)
{
    const auto blocks = PemBlocksOf(content);
    if (blocks.empty()) {
        return {BytesOf(content)};
    }
    std::vector<SecretBytes> certificates;
    for (const PemBlock& block : blocks) {
        if (block.label == "CERTIFICATE" || block.label == "X509 CERTIFICATE") {
            certificates.push_back(block.content);
        }
    }
    return certificates;
}

bool IsFor(const SecretBytes& der, const Botan::RSA_PrivateKey& key)
{
    try {
        const Botan::X509_Certificate certificate(der.data(), der.size());
        return certificate.subject_public_key_bitstring() == key.public_key_bits();
    } catch (const Botan::Exception&) {
        return false;
    }
}

ImportedKey Paired(RsaKey key, const std::vector<SecretBytes>& certificates)
{
    for (const SecretBytes& der : certificates) {
        if (IsFor(der, *key)) {
            return {std::move(key), {der.begin(), der.end()}};
        }
    }
    Refuse("There is no certificate for the private key.");
}

ImportedKey ParseBundle(const std::string& content, const AskPassword& askPassword)
{
    try {
        KeyBundle bundle = OpenKeyBundle(content, askPassword);
        return Paired(std::move(bundle.key), bundle.certificates);
    } catch (const Botan::Exception&) {
        Refuse("The private key cannot be read.");
    }
}

} // namespace

ImportedKey ParseKey(const std::string& certificates, const std::function<std::string()>& readKeyFile,
                     const AskPassword& askPassword)
{
    if (IsKeyBundle(certificates)) {
        return ParseBundle(certificates, askPassword);
    }
    const SecretString keyText(readKeyFile());
    return Paired(LoadKey(keyText.text, askPassword), CertificatesOf(certificates));
}

} // namespace softcard
