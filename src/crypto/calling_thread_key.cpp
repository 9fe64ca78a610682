#include "src/crypto/calling_thread_key.h"

#include "src/crypto/pkcs1.h"
#include "src/crypto/private_power.h"

#include <botan/hash.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

namespace {

constexpr std::array<std::string_view, 4> signaturePaddings{"EMSA3", "EMSA_PKCS1", "EMSA-PKCS1-v1_5",
                                                            "PKCS1v15"};
constexpr std::array<std::string_view, 2> encryptionPaddings{"EME-PKCS1-v1_5", "PKCS1v15"};
constexpr std::string_view noPadding = "Raw";

// What a signature's padding has in its parentheses.
struct SignedHash
{
    std::string name;   // empty where the message is signed as it stands, without DigestInfo
    bool given = false; // the message is the hash
};

// Nothing for a padding that is not one of PKCS#1 v1.5 with a known hash.
std::optional<SignedHash> SignedHashOf(std::string_view padding)
{
    const auto open = padding.find('(');
    if (open == std::string_view::npos || !padding.ends_with(')') ||
        std::ranges::find(signaturePaddings, padding.substr(0, open)) == signaturePaddings.end()) {
        return std::nullopt;
    }
    std::string_view argument = padding.substr(open + 1, padding.size() - open - 2);
    if (argument == "Raw") {
        return SignedHash{"", true};
    }
    constexpr std::string_view given = "Raw,";
    const bool isGiven = argument.starts_with(given);
    if (isGiven) {
        argument.remove_prefix(given.size());
    }
    std::string name(argument);
    if (!pkcs1::DigestInfoPrefix(name)) {
        return std::nullopt;
    }
    return SignedHash{std::move(name), isGiven};
}

class Pkcs1Signature final : public SignatureMaker
{
public:
    Pkcs1Signature(const Botan::RSA_PrivateKey& key, Botan::RandomNumberGenerator& random, SignedHash itsHash)
        : power(key, random), hash(std::move(itsHash))
    {
        if (!hash.name.empty()) {
            function = Botan::HashFunction::create_or_throw(hash.name);
        }
    }

    void Add(std::span<const uint8_t> part) override
    {
        if (hash.given) {
            message.insert(message.end(), part.begin(), part.end());
        } else {
            function->update(part.data(), part.size());
        }
    }

    SignatureBytes Finish() override
    {
        const auto signature = power.Of(pkcs1::SignatureBlock(TakeContent(), power.Bytes()));
        return {signature.begin(), signature.end()};
    }

    [[nodiscard]] std::size_t signature_length() const override { return power.Bytes(); }

    [[nodiscard]] std::string HashName() const override { return hash.name; }

private:
    std::vector<uint8_t> TakeContent()
    {
        auto digest = hash.given ? std::exchange(message, {}) : function->final_stdvec();
        if (hash.name.empty()) {
            return digest;
        }
        if (digest.size() != function->output_length()) {
            throw Botan::Encoding_Error("The data are not as long as the hash.");
        }
        return pkcs1::DigestInfo(hash.name, digest);
    }

    PrivatePower power;
    const SignedHash hash;
    std::unique_ptr<Botan::HashFunction> function; // null without a hash
    std::vector<uint8_t> message;                  // as far as it is known, where it is not hashed here
};

class Pkcs1Decryption final : public DecryptionMaker
{
public:
    Pkcs1Decryption(const Botan::RSA_PrivateKey& key, Botan::RandomNumberGenerator& random)
        : power(key, random)
    {
    }

    Botan::secure_vector<uint8_t> Decrypt(uint8_t& validMask, std::span<const uint8_t> data) override
    {
        return pkcs1::OpenEncryptionBlock(validMask, power.Of(data));
    }

    [[nodiscard]] std::size_t plaintext_length(std::size_t /*length*/) const override
    {
        return power.Bytes();
    }

private:
    PrivatePower power;
};

// Gives the number without the zeros in front.
class PlainDecryption final : public DecryptionMaker
{
public:
    PlainDecryption(const Botan::RSA_PrivateKey& key, Botan::RandomNumberGenerator& random)
        : power(key, random)
    {
    }

    Botan::secure_vector<uint8_t> Decrypt(uint8_t& validMask, std::span<const uint8_t> data) override
    {
        const auto number = power.Of(data);
        validMask = 0xFF;
        return {std::ranges::find_if(number, [](uint8_t byte) { return byte != 0; }), number.end()};
    }

    [[nodiscard]] std::size_t plaintext_length(std::size_t /*length*/) const override
    {
        return power.Bytes();
    }

private:
    PrivatePower power;
};

} // namespace

std::unique_ptr<Botan::PK_Ops::Signature>
CallingThreadKey::MakeSignature(Botan::RandomNumberGenerator& random, const std::string& padding) const
{
    if (auto hash = SignedHashOf(padding)) {
        return std::make_unique<Pkcs1Signature>(Key(), random, *std::move(hash));
    }
    return Key().create_signature_op(random, padding, "");
}

std::unique_ptr<Botan::PK_Ops::Decryption>
CallingThreadKey::MakeDecryption(Botan::RandomNumberGenerator& random, const std::string& padding) const
{
    if (std::ranges::find(encryptionPaddings, padding) != encryptionPaddings.end()) {
        return std::make_unique<Pkcs1Decryption>(Key(), random);
    }
    if (padding == noPadding) {
        return std::make_unique<PlainDecryption>(Key(), random);
    }
    return Key().create_decryption_op(random, padding, "");
}
