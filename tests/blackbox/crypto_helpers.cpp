#include "tests/blackbox/crypto_helpers.h"

#include "src/botan/big_int_bytes.h"

#include <botan/numthry.h>
#include <botan/reducer.h>

#include <algorithm>

namespace blackbox {

Bytes SignatureBlock(size_t length, const Bytes& content)
{
    constexpr size_t framing = 3;
    return Bytes{0, 1} + Repeated(0xFF, length - framing - content.size()) + Bytes{0} + content;
}

size_t ModulusLength(const Botan::RSA_PublicKey& key)
{
    return key.get_n().bytes();
}

Bytes PrivateOperation(const Botan::RSA_PrivateKey& key, const Bytes& block)
{
    const auto result = Botan::power_mod(Botan::BigInt(block), key.get_d(), key.get_n());
    const auto encoded = BigIntBytes(result, ModulusLength(key));
    return {encoded.begin(), encoded.end()};
}

Bytes PublicOperation(const Botan::RSA_PublicKey& key, const Bytes& block)
{
    const auto result = Botan::power_mod(Botan::BigInt(block), key.get_e(), key.get_n());
    const auto encoded = BigIntBytes(result, ModulusLength(key));
    return {encoded.begin(), encoded.end()};
}

SignedData SignBlock(const Botan::RSA_PrivateKey& key,
                     const std::function<Bytes(const Bytes& digestInfo)>& blockOf)
{
    for (unsigned first = 1; first < 256; ++first) {
        const Bytes data = DigestInfo(Counting(32, static_cast<uint8_t>(first)));
        const Bytes signature = PrivateOperation(key, blockOf(data));
        if (signature.front() != 0) {
            return {data, signature};
        }
    }
    ADD_FAILURE() << "no signature without a zero in front";
    return {};
}

SignedData SignWell(const Botan::RSA_PrivateKey& key)
{
    return SignBlock(key, [&key](const Bytes& data) { return SignatureBlock(ModulusLength(key), data); });
}

Bytes BigEndian(const Botan::BigInt& number)
{
    return BigIntBytes(number);
}

Bytes Repeated(uint8_t byte, size_t count)
{
    return Bytes(count, byte);
}

CK_SESSION_HANDLE CryptoTest::StartSession(CK_SLOT_ID slot, Card card)
{
    InitializeWithCard(std::move(card));
    const CK_SESSION_HANDLE session = OpenSession(slot);
    script->ForgetCalls();
    return session;
}

CK_OBJECT_HANDLE CryptoTest::CreateKey(CK_SESSION_HANDLE session, const Bytes& modulus, const Bytes& exponent)
{
    Template records;
    records.Add(CKA_MODULUS, modulus).Add(CKA_PUBLIC_EXPONENT, exponent).Flag(CKA_VERIFY, CK_TRUE);
    CK_OBJECT_HANDLE key = 0;
    EXPECT_EQ(Create(session, records, &key), CKR_OK);
    return key;
}

CK_OBJECT_HANDLE CryptoTest::CreateKey(CK_SESSION_HANDLE session, const Botan::RSA_PublicKey& key)
{
    return CreateKey(session, BigEndian(key.get_n()), BigEndian(key.get_e()));
}

CK_RV CryptoTest::VerifyInit(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, CK_MECHANISM_TYPE type)
{
    CK_MECHANISM mechanism{type, nullptr, 0};
    return f->C_VerifyInit(session, &mechanism, key);
}

CK_RV CryptoTest::EncryptInit(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, CK_MECHANISM_TYPE type)
{
    CK_MECHANISM mechanism{type, nullptr, 0};
    return f->C_EncryptInit(session, &mechanism, key);
}

CK_RV CryptoTest::DecryptInit(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, CK_MECHANISM_TYPE type)
{
    CK_MECHANISM mechanism{type, nullptr, 0};
    return f->C_DecryptInit(session, &mechanism, key);
}

CK_RV CryptoTest::DigestInit(CK_SESSION_HANDLE session, CK_MECHANISM_TYPE type)
{
    CK_MECHANISM mechanism{type, nullptr, 0};
    return f->C_DigestInit(session, &mechanism);
}

CK_RV CryptoTest::Verify(CK_SESSION_HANDLE session, const Bytes& data, const Bytes& signature)
{
    Bytes exactData = data;
    Bytes exactSignature = signature;
    return f->C_Verify(session, exactData.data(), static_cast<CK_ULONG>(exactData.size()),
                       exactSignature.data(), static_cast<CK_ULONG>(exactSignature.size()));
}

CK_RV CryptoTest::Verify(CK_SESSION_HANDLE session, const SignedData& pair)
{
    return Verify(session, pair.data, pair.signature);
}

Result CryptoTest::Encrypt(CK_SESSION_HANDLE session, const Bytes& data)
{
    return Produce(f->C_Encrypt, session, data);
}

Result CryptoTest::Decrypt(CK_SESSION_HANDLE session, const Bytes& data)
{
    return Produce(f->C_Decrypt, session, data);
}

Result CryptoTest::Digest(CK_SESSION_HANDLE session, const Bytes& data)
{
    return Produce(f->C_Digest, session, data);
}

Result CryptoTest::EncryptLength(CK_SESSION_HANDLE session)
{
    return AskFor(f->C_Encrypt, session);
}

Result CryptoTest::DecryptLength(CK_SESSION_HANDLE session)
{
    return AskFor(f->C_Decrypt, session);
}

Result CryptoTest::DigestLength(CK_SESSION_HANDLE session)
{
    return AskFor(f->C_Digest, session);
}

Result CryptoTest::Produce(OutputFunction function, CK_SESSION_HANDLE session, const Bytes& data)
{
    constexpr uint8_t untouched = 0xEE;
    Bytes exact = data;
    Bytes room(signatureRoom, untouched);
    Result result;
    result.result =
        function(session, exact.data(), static_cast<CK_ULONG>(exact.size()), room.data(), &result.length);
    const size_t used = result.result == CKR_OK ? result.length : 0;
    if (used > room.size()) {
        ADD_FAILURE() << "a length of " << used;
        return result;
    }
    const auto end = room.begin() + static_cast<std::ptrdiff_t>(used);
    EXPECT_TRUE(std::all_of(end, room.end(), [](uint8_t byte) { return byte == untouched; }));
    result.value.assign(room.begin(), end);
    return result;
}

Result CryptoTest::AskFor(OutputFunction function, CK_SESSION_HANDLE session)
{
    Result result;
    result.result = function(session, nullptr, 0, nullptr, &result.length);
    return result;
}

} // namespace blackbox
