#include "tests/support/test_certificates.h"

#include "src/botan/big_int_bytes.h"

#include <botan/auto_rng.h>
#include <botan/numthry.h>
#include <botan/x509self.h>

#include <algorithm>
#include <array>
#include <memory>
#include <mutex>

namespace blackbox {
namespace {

constexpr unsigned keyCount = 4;
constexpr unsigned longKey = 3;

} // namespace

const Botan::RSA_PrivateKey& TestKey(unsigned number)
{
    static std::mutex mutex;
    // Never destroyed: the allocator that the keys lie in may be gone before them.
    static auto& keys = *new std::array<std::unique_ptr<Botan::RSA_PrivateKey>, keyCount>;
    const std::lock_guard lock(mutex);
    std::unique_ptr<Botan::RSA_PrivateKey>& key = keys.at(number);
    if (!key) {
        Botan::AutoSeeded_RNG random;
        key = std::make_unique<Botan::RSA_PrivateKey>(random, number == longKey ? 2048 : 1024);
    }
    return *key;
}

scripted::Bytes TestSignature(unsigned keyNumber, const scripted::Bytes& data)
{
    const Botan::RSA_PrivateKey& key = TestKey(keyNumber);
    const size_t length = key.get_n().bytes();
    scripted::Bytes block(length, 0xFF);
    block[0] = 0;
    block[1] = 1;
    block.at(length - data.size() - 1) = 0;
    std::copy(data.begin(), data.end(), block.end() - static_cast<std::ptrdiff_t>(data.size()));
    // Botan's own signatures are made with threads, which a forked child does not have.
    const auto signature =
        BigIntBytes(Botan::power_mod(Botan::BigInt(block), key.get_d(), key.get_n()), length);
    return {signature.begin(), signature.end()};
}

scripted::Bytes Sha256DigestInfo(const scripted::Bytes& hash)
{
    scripted::Bytes digestInfo{0x30, 0x31, 0x30, 0x0D, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01,
                               0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00, 0x04, 0x20};
    digestInfo.insert(digestInfo.end(), hash.begin(), hash.end());
    return digestInfo;
}

scripted::Bytes TestCertificate(unsigned keyNumber, const std::string& commonName)
{
    Botan::AutoSeeded_RNG random;
    const Botan::X509_Cert_Options options(commonName + "/CZ/Test Organisation/Test Unit");
    return Botan::X509::create_self_signed_cert(options, TestKey(keyNumber), "SHA-256", random).BER_encode();
}

CardKeyInfo TestKeyInfo(unsigned keyNumber, uint32_t keyReference)
{
    const Botan::RSA_PrivateKey& key = TestKey(keyNumber);
    CardKeyInfo info{};
    info.keyReference = keyReference;
    info.modulusBits = static_cast<uint32_t>(key.get_n().bits());
    const auto modulus = BigIntBytes(key.get_n());
    std::reverse_copy(modulus.begin(), modulus.end(), info.modulus);
    info.modulusLength = modulus.size();
    const auto exponent = BigIntBytes(key.get_e());
    std::copy(exponent.begin(), exponent.end(), info.publicExponent);
    info.publicExponentLength = exponent.size();
    return info;
}

scripted::CertifiedKey TestCertifiedKey(unsigned keyNumber, uint32_t keyReference,
                                        const std::string& commonName)
{
    return {TestCertificate(keyNumber, commonName), TestKeyInfo(keyNumber, keyReference)};
}

scripted::Card CertifiedCard()
{
    scripted::Card card;
    card.qes.push_back(TestCertifiedKey(0, 2, "Qualified"));
    card.es.push_back(TestCertifiedKey(1, 1, "Ordinary"));
    card.qesKeyInfo = card.qes.front().key;
    card.esKeyInfo = card.es.front().key;
    return card;
}

} // namespace blackbox
