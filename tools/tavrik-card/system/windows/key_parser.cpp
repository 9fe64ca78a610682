// With Botan, which knows PEM and DER: PKCS#8 for keys, encrypted or not, and PKCS#1 in clear.
#include "tools/tavrik-card/system/key_parser.h"

#include "softcard/base/store_error.h"

#include <botan/ber_dec.h>
#include <botan/data_src.h>
#include <botan/pem.h>
#include <botan/pkcs8.h>
#include <botan/x509cert.h>

#include <optional>
#include <string_view>
#include <vector>

namespace softcard {
namespace {

struct PemBlock
{
    std::string label;
    SecretBytes content;
    std::string_view text; // with its frame
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
        PemBlock block{label, {}, text.substr(start, end + last.size() - start)};
        try {
            const SecretString framed{std::string(block.text)};
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

// PKCS#12 begins with its version, which is 3.
bool IsBundle(const std::string& content)
{
    try {
        size_t version = 0;
        Botan::BER_Decoder(reinterpret_cast<const uint8_t*>(content.data()), content.size())
            .start_cons(Botan::SEQUENCE)
            .decode(version);
        return version == 3;
    } catch (const Botan::Exception&) {
        return false;
    }
}

std::unique_ptr<Botan::Private_Key> LoadPkcs8(const SecretBytes& der)
{
    Botan::DataSource_Memory source(der);
    return Botan::PKCS8::load_key(source);
}

std::unique_ptr<Botan::Private_Key> LoadEncrypted(const SecretBytes& bytes, const AskPassword& askPassword)
{
    Botan::DataSource_Memory source(bytes);
    return Botan::PKCS8::load_key(source, [&askPassword] {
        const SecretText password = askPassword();
        return std::string(password.begin(), password.end());
    });
}

// The first private key among the blocks.
std::unique_ptr<Botan::Private_Key> LoadFromPem(const std::vector<PemBlock>& blocks,
                                                const AskPassword& askPassword)
{
    for (const PemBlock& block : blocks) {
        if (block.label == "PRIVATE KEY") {
            return LoadPkcs8(block.content);
        }
        if (block.label == "ENCRYPTED PRIVATE KEY") {
            return LoadEncrypted(BytesOf(block.text), askPassword);
        }
        if (block.label == "RSA PRIVATE KEY") {
            if (block.content.empty()) {
                Refuse("The private key is encrypted in an old way; it can be imported as encrypted PKCS#8.");
            }
            return std::make_unique<Botan::RSA_PrivateKey>(Botan::AlgorithmIdentifier(), block.content);
        }
    }
    return nullptr;
}

std::unique_ptr<Botan::RSA_PrivateKey> LoadKey(const std::string& content, const AskPassword& askPassword)
{
    std::unique_ptr<Botan::Private_Key> loaded;
    try {
        const auto blocks = PemBlocksOf(content);
        loaded = blocks.empty() ? LoadPkcs8(BytesOf(content)) : LoadFromPem(blocks, askPassword);
    } catch (const Botan::Exception&) {
        loaded.reset();
    }
    if (!loaded) {
        Refuse("There is no private key that can be read, or the password is wrong.");
    }
    auto* rsaKey = dynamic_cast<Botan::RSA_PrivateKey*>(loaded.get());
    if (rsaKey == nullptr) {
        Refuse("The private key is not an RSA key.");
    }
    (void)loaded.release();
    return std::unique_ptr<Botan::RSA_PrivateKey>(rsaKey);
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

} // namespace

ImportedKey ParseKey(const std::string& certificates, const std::function<std::string()>& readKeyFile,
                     const AskPassword& askPassword)
{
    if (IsBundle(certificates)) {
        Refuse("A PKCS#12 file cannot be imported on Windows; its key and its certificate can, as PEM.");
    }
    const SecretString keyText(readKeyFile());
    auto key = LoadKey(keyText.text, askPassword);
    for (const SecretBytes& der : CertificatesOf(certificates)) {
        if (IsFor(der, *key)) {
            return {std::move(key), {der.begin(), der.end()}};
        }
    }
    Refuse("There is no certificate for the private key.");
}

} // namespace softcard
