// Cryptography of others, which judges what the cards' keys do: that of OpenSSL's command, and where there is none, that
// of a library, with public keys alone.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace softcard::test {

// The names of hashes are those of OpenSSL: sha1, sha256, sha384, sha512.
class Judge
{
public:
    // Of the RSA key in the certificate, which is DER. The folder takes files that the judge writes.
    Judge(std::filesystem::path folder, const std::vector<uint8_t>& certificate);

    // Whether it takes the signature for one of the text.
    [[nodiscard]] bool Accepts(const std::string& text, const std::string& hash,
                               const std::vector<uint8_t>& signature) const;

    // What was signed, without the padding of PKCS#1 around it; the test fails when there is none.
    [[nodiscard]] std::vector<uint8_t> Recover(const std::vector<uint8_t>& signature) const;

    [[nodiscard]] std::vector<uint8_t> Encrypt(const std::string& text) const;

    // In capital hexadecimal digits.
    [[nodiscard]] std::string Modulus() const;

private:
    std::filesystem::path folder;
    std::vector<uint8_t> publicKey; // as the implementation likes it
};

// What stands behind the padding of PKCS#1 for a signature; the test fails when the block has none.
std::vector<uint8_t> ContentOfBlock(const std::vector<uint8_t>& block);

// The folder takes files that are written.
std::vector<uint8_t> HashByJudge(const std::filesystem::path& folder, const std::string& text,
                                 const std::string& hash);

} // namespace softcard::test
