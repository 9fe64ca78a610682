// Uses each exported class from outside the project: what compiles, links and answers here does so for
// others.
#include <tavrik/hash_functions.h>
#include <tavrik/hex_binary.h>
#include <tavrik/rsa.h>

#include <iostream>
#include <memory>
#include <utility>

using namespace Zelmo::Crypto;

namespace {

int failures = 0;

void Expect(bool holds, const char* what)
{
    if (!holds) {
        std::cerr << "failed: " << what << "\n";
        ++failures;
    }
}

} // namespace

int main()
{
    const HexBinary message("48616c6c6f");
    RSAPrivKey key(1024);

    RsaSigner signer(&key, "EMSA3(SHA-256)");
    const std::unique_ptr<HexBinary> signature(signer.Sign(&message));
    RsaVerifier verifier(key.GetPublicKey(), "EMSA3(SHA-256)");
    std::vector<uint8_t> messageBytes;
    std::vector<uint8_t> signatureBytes;
    message.ToByteVector(messageBytes);
    signature->ToByteVector(signatureBytes);
    Expect(verifier.Verify(messageBytes, signatureBytes), "the signature verifies");

    RSA both(&key, RSA::GetSignerMode("1.2.840.113549.1.1.11"));
    Expect(both.Verify(&message, signature.get()), "the other class agrees");

    RsaEncryptor encryptor(&key, "PKCS1v15");
    RsaDecryptor decryptor(&key, "PKCS1v15");
    std::vector<uint8_t> encrypted = encryptor.Encrypt(messageBytes);
    const std::unique_ptr<HexBinary> wrapped(HexBinary::FromByteVector(encrypted));
    const std::unique_ptr<HexBinary> plain(decryptor.Decrypt(wrapped.get()));
    Expect(HexBinary::Compare(plain.get(), &message) == 0, "decryption gives the message back");

    const RsaSigner copy(signer);
    const RSAPrivKey keyCopy(key);
    Expect(keyCopy.GetPublicKey() != key.GetPublicKey(), "a copied key has a public half of its own");

    return failures == 0 ? 0 : 1;
}
