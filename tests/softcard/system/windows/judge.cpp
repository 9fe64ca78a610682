#include "tests/softcard/judge.h"

#include "src/botan/big_int_bytes.h"

#include <botan/auto_rng.h>
#include <botan/hash.h>
#include <botan/hex.h>
#include <botan/numthry.h>
#include <botan/pubkey.h>
#include <botan/rsa.h>
#include <botan/x509_key.h>
#include <botan/x509cert.h>

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace softcard::test {
namespace {

// As Botan calls it.
std::string NameOfHash(const std::string& hash)
{
    return hash == "sha1" ? "SHA-1" : "SHA-" + hash.substr(3);
}

std::unique_ptr<Botan::RSA_PublicKey> KeyOf(const std::vector<uint8_t>& publicKey)
{
    const std::unique_ptr<Botan::Public_Key> key(Botan::X509::load_key(publicKey));
    return std::make_unique<Botan::RSA_PublicKey>(dynamic_cast<const Botan::RSA_PublicKey&>(*key));
}

} // namespace

Judge::Judge(std::filesystem::path itsFolder, const std::vector<uint8_t>& certificate)
    : folder(std::move(itsFolder)), publicKey(Botan::X509::BER_encode(*std::unique_ptr<Botan::Public_Key>(
                                        Botan::X509_Certificate(certificate).subject_public_key())))
{
}

bool Judge::Accepts(const std::string& text, const std::string& hash,
                    const std::vector<uint8_t>& signature) const
{
    const auto key = KeyOf(publicKey);
    Botan::PK_Verifier verifier(*key, "EMSA3(" + NameOfHash(hash) + ")");
    verifier.update(text);
    return verifier.check_signature(signature);
}

std::vector<uint8_t> Judge::Recover(const std::vector<uint8_t>& signature) const
{
    const auto key = KeyOf(publicKey);
    const size_t length = key->get_n().bytes();
    const Botan::BigInt number = Botan::power_mod(Botan::BigInt(signature), key->get_e(), key->get_n());
    return ContentOfBlock(BigIntBytes(number, length));
}

std::vector<uint8_t> Judge::Encrypt(const std::string& text) const
{
    const auto key = KeyOf(publicKey);
    Botan::AutoSeeded_RNG random;
    return Botan::PK_Encryptor_EME(*key, random, "PKCS1v15")
        .encrypt(reinterpret_cast<const uint8_t*>(text.data()), text.size(), random);
}

std::string Judge::Modulus() const
{
    return Botan::hex_encode(BigIntBytes(KeyOf(publicKey)->get_n()));
}

std::vector<uint8_t> HashByJudge(const std::filesystem::path& /*folder*/, const std::string& text,
                                 const std::string& hash)
{
    const auto function = Botan::HashFunction::create_or_throw(NameOfHash(hash));
    function->update(text);
    const auto digest = function->final();
    return {digest.begin(), digest.end()};
}

} // namespace softcard::test
