#include "tests/softcard/system/linux/card_secrets.h"

#include "softcard/card/code_change.h"
#include "softcard/card/code_record.h"
#include "src/botan/big_int_bytes.h"

#include <botan/auto_rng.h>
#include <botan/hex.h>
#include <botan/pwdhash.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace softcard::test {
namespace {

template <typename Bytes>
std::string TextOf(const Bytes& bytes)
{
    return {bytes.begin(), bytes.end()};
}

// As a file has a number, and as a computation has it.
void AddNumber(Secrets& secrets, const std::string& name, const Botan::BigInt& number)
{
    std::vector<uint8_t> bytes = BigIntBytes(number);
    secrets[name + ", most significant byte first"] = TextOf(bytes);
    std::reverse(bytes.begin(), bytes.end());
    secrets[name + ", least significant byte first"] = TextOf(bytes);
}

void AddKey(Secrets& secrets, const std::string& name, const Botan::RSA_PrivateKey& key)
{
    AddNumber(secrets, name + ": the first prime", key.get_p());
    AddNumber(secrets, name + ": the second prime", key.get_q());
    AddNumber(secrets, name + ": the exponent", key.get_d());
    AddNumber(secrets, name + ": the first reduced exponent", key.get_d1());
    AddNumber(secrets, name + ": the second reduced exponent", key.get_d2());
    AddNumber(secrets, name + ": the coefficient", key.get_c());
}

void AddSecret(Secrets& secrets, const std::string& name, const SecretBytes& secret)
{
    secrets[name] = TextOf(secret);
    secrets[name + " in digits"] = Botan::hex_encode(secret);
    secrets[name + " in small digits"] = Botan::hex_encode(secret, false);
}

// What a code becomes: the first half verifies it, the second one unwraps.
std::string Derive(const std::string& code, const CodeRecord& record)
{
    std::string derived(64, '\0');
    Botan::PasswordHashFamily::create_or_throw("Scrypt")
        ->from_params(record.cost, 8, 1)
        ->derive_key(reinterpret_cast<uint8_t*>(derived.data()), derived.size(), code.data(), code.size(),
                     record.salt.data(), record.salt.size());
    if (derived.substr(0, 32) != TextOf(record.verifier)) {
        throw std::runtime_error("the code is not that of the card");
    }
    return derived.substr(32);
}

} // namespace

std::string RandomCode()
{
    Botan::AutoSeeded_RNG random;
    return Botan::hex_encode(random.random_vec(12));
}

Secrets SecretsOfCodes(const std::filesystem::path& cardFolder, const CardCodes& codes)
{
    const CodeRecords records = ReadCodeRecords(cardFolder);
    return {{"the BOK", codes.bok},
            {"the PIN", codes.pin},
            {"the PUK", codes.puk},
            {"what the BOK unwraps with", Derive(codes.bok, records.bok)},
            {"what the PIN unwraps with", Derive(codes.pin, records.pin)},
            {"what the PUK unwraps with", Derive(codes.puk, records.puk)}};
}

SecretBytes SecretOfFamily(const std::filesystem::path& cardFolder, KeyFamily family, const CardCodes& codes)
{
    const bool isQualified = family == KeyFamily::qualified;
    return OpenWithCode(cardFolder, isQualified ? CodeKind::pin : CodeKind::bok,
                        MakeSecretText(isQualified ? codes.pin : codes.bok));
}

void AddKeys(Secrets& secrets, const Card& card, const std::filesystem::path& cardFolder,
             const CardCodes& codes)
{
    for (const KeyFamily family : {KeyFamily::qualified, KeyFamily::ordinary}) {
        const std::string name = family == KeyFamily::qualified ? "qualified" : "ordinary";
        const SecretBytes secret = SecretOfFamily(cardFolder, family, codes);
        AddSecret(secrets, "the " + name + " secret", secret);
        AddKey(secrets, "the " + name + " key", *LoadPrivateKeys(card, family, secret).front());
    }
}

} // namespace softcard::test
