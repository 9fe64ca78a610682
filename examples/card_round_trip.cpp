// Takes a document through the library: digests it, signs the digest with the card and verifies the
// signature, encrypts a secret for the card and has the card decrypt it.
#include "digest_info.h"
#include "example_program.h"
#include "pkcs11_client.h"

#include <botan/hex.h>
#include <botan/rsa.h>
#include <botan/x509cert.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

namespace {

constexpr char usage[] =
    "Usage: card_round_trip [--module LIBRARY] [--code LOGIN-CODE] DOCUMENT\n"
    "Digests DOCUMENT, signs and verifies it, and sends a secret to the first card and back.\n"
    "Without --code, the card's software asks for the login code.\n";

struct Options
{
    std::filesystem::path module;
    std::optional<std::string> code;
    std::filesystem::path document;
};

// Nothing when the command line makes no sense.
std::optional<Options> ReadOptions(const std::vector<std::string>& words)
{
    const CommandLine line = SplitCommandLine(words, {"--module", "--code"});
    if (line.files.size() != 1 || line.files[0].starts_with("--")) {
        return std::nullopt;
    }
    Options options;
    options.module = PathOf(line.Value("--module").value_or(TextOf(LibraryBesideProgram())));
    options.code = line.Value("--code");
    options.document = PathOf(line.files[0]);
    return options;
}

Bytes ReadDocument(const std::filesystem::path& file)
{
    std::ifstream input(file, std::ios::binary);
    if (!input) {
        throw std::runtime_error("The document " + TextOf(file) + " cannot be read.");
    }
    return {std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
}

// Big-endian.
Bytes BytesOf(const Botan::BigInt& number)
{
    Bytes bytes;
    for (std::size_t left = number.bytes(); left > 0; --left) {
        bytes.push_back(number.byte_at(left - 1));
    }
    return bytes;
}

PublicKey PublicKeyOf(const Bytes& certificate)
{
    const Botan::X509_Certificate parsed(certificate);
    const std::unique_ptr<Botan::Public_Key> key(parsed.subject_public_key());
    const auto* rsaKey = dynamic_cast<const Botan::RSA_PublicKey*>(key.get());
    if (rsaKey == nullptr) {
        throw std::runtime_error("The card's key is no RSA key.");
    }
    return {BytesOf(rsaKey->get_n()), BytesOf(rsaKey->get_e())};
}

void Expect(bool holds, const char* what)
{
    if (!holds) {
        throw std::runtime_error(what);
    }
}

void DigestDocument(const Pkcs11Client& client, CK_SESSION_HANDLE session, const Bytes& document)
{
    const Bytes digest = client.Digest(session, CKM_SHA256, document);
    std::cout << "The SHA-256 of the document, by C_Digest:\n    " << Botan::hex_encode(digest, false)
              << "\n";
}

void SignAndVerify(const Pkcs11Client& client, CK_SESSION_HANDLE session, const SigningKey& key,
                   CK_OBJECT_HANDLE publicKey, const Bytes& digestInfo)
{
    const Bytes signature = client.Sign(session, key.key, digestInfo);
    std::cout << "The card signs it: " << signature.size() << " bytes.\n";
    Expect(client.Verify(session, publicKey, digestInfo, signature),
           "C_Verify refuses the card's signature.");
    std::cout << "C_Verify accepts the signature.\n";
    Bytes changed = digestInfo;
    changed.back() = static_cast<uint8_t>(changed.back() ^ 1U);
    Expect(!client.VerifyAgain(session, changed, signature), "C_Verify accepts a changed document.");
    std::cout << "C_Verify refuses it for a changed document.\n";
}

void EncryptAndDecrypt(const Pkcs11Client& client, CK_SESSION_HANDLE session, const SigningKey& key,
                       CK_OBJECT_HANDLE publicKey)
{
    const std::string secret = "Meet me at the old mill.";
    const Bytes encrypted = client.Encrypt(session, publicKey, {secret.begin(), secret.end()});
    std::cout << "Encrypted for the card: \"" << secret << "\", " << encrypted.size() << " bytes beginning "
              << Botan::hex_encode(encrypted.data(), 8, false) << "\n";
    const Bytes plain = client.Decrypt(session, key.key, encrypted);
    Expect(std::string(plain.begin(), plain.end()) == secret, "The card decrypts something else.");
    std::cout << "The card decrypts:      \"" << std::string(plain.begin(), plain.end()) << "\"\n";
}

void RunRoundTrip(const Options& options)
{
    const Bytes document = ReadDocument(options.document);
    const Pkcs11Client client(options.module);
    const auto slots = client.Slots();
    if (slots.size() < 2) {
        throw std::runtime_error("There is no card in any reader.");
    }
    const CK_SESSION_HANDLE session = client.OpenSession(slots[1].id); // the ordinary key's
    client.Login(session, options.code);
    const SigningKey key = client.FindSigningKey(session);
    const CK_OBJECT_HANDLE publicKey = client.CreatePublicKey(session, PublicKeyOf(key.certificate));

    DigestDocument(client, session, document);
    SignAndVerify(client, session, key, publicKey, DigestInfoOfFile(options.document, "SHA-256"));
    EncryptAndDecrypt(client, session, key, publicKey);
}

} // namespace

int main(int count, char** words)
{
    return RunProgram(
        "card_round_trip", usage, [&] { return ReadOptions(WordsOf(count, words)); }, RunRoundTrip);
}
