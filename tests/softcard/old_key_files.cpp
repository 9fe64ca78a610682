#include "tests/softcard/old_key_files.h"

#include "softcard/system/files.h"

#include <botan/auto_rng.h>
#include <botan/hex.h>
#include <botan/pkcs8.h>

namespace softcard::test {

void WriteOldKeyFile(const std::filesystem::path& path, const Botan::RSA_PrivateKey& key,
                     const SecretBytes& secret)
{
    Botan::AutoSeeded_RNG random;
    WriteFileAtomically(path, Botan::PKCS8::PEM_encode_encrypted_pbkdf_iter(
                                  key, random, Botan::hex_encode(secret), 1000, "AES-256/CBC", "SHA-256"));
}

} // namespace softcard::test
