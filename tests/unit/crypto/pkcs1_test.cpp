#include "src/crypto/pkcs1.h"

#include <botan/asn1_obj.h>
#include <botan/der_enc.h>
#include <botan/exceptn.h>
#include <botan/hash.h>
#include <botan_version/asn1.h>

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using Bytes = std::vector<uint8_t>;

constexpr std::size_t blockLength = 64;

// 00 02, so many bytes of padding, 00, and the data; the padding is so long that the block has blockLength bytes.
Bytes EncryptionBlock(const Bytes& data)
{
    Bytes block(blockLength, 0x5A);
    block[0] = 0;
    block[1] = 2;
    block[blockLength - data.size() - 1] = 0;
    std::copy(data.begin(), data.end(), block.end() - static_cast<std::ptrdiff_t>(data.size()));
    return block;
}

Bytes Open(const Bytes& block, uint8_t expectedMask)
{
    uint8_t mask = 0x77;
    const auto data = pkcs1::OpenEncryptionBlock(mask, block);
    EXPECT_EQ(mask, expectedMask);
    return {data.begin(), data.end()};
}

void ExpectRefused(const Bytes& block)
{
    EXPECT_EQ(Open(block, 0), Bytes());
}

TEST(Pkcs1, MakesTheDigestInfoThatAnEncoderMakes)
{
    for (const char* hash : {"SHA-1", "SHA-224", "SHA-256", "SHA-384", "SHA-512"}) {
        const auto function = Botan::HashFunction::create_or_throw(hash);
        function->update("abc");
        const Bytes digest = function->final_stdvec();
        const Botan::AlgorithmIdentifier algorithm(Botan::OID::from_string(function->name()),
                                                   Botan::AlgorithmIdentifier::USE_NULL_PARAM);
        Bytes expected;
        Botan::DER_Encoder(expected)
            .start_cons(sequenceAsn1, universalClass)
            .encode(algorithm)
            .encode(digest, octetStringAsn1)
            .end_cons();
        EXPECT_EQ(pkcs1::DigestInfo(hash, digest), expected) << hash;
    }
}

TEST(Pkcs1, KnowsNoOtherHash)
{
    for (const char* hash : {"", "SHA", "SHA-3(256)", "MD5", "sha-256"}) {
        EXPECT_EQ(pkcs1::DigestInfoPrefix(hash), std::nullopt) << hash;
        EXPECT_THROW(pkcs1::DigestInfo(hash, {}), std::invalid_argument) << hash;
    }
}

TEST(Pkcs1, PutsASignaturesDataIntoABlock)
{
    EXPECT_EQ(pkcs1::SignatureBlock(Bytes{7, 8}, 14),
              (Bytes{0, 1, 255, 255, 255, 255, 255, 255, 255, 255, 255, 0, 7, 8}));
    EXPECT_EQ(pkcs1::SignatureBlock(Bytes{}, 11), (Bytes{0, 1, 255, 255, 255, 255, 255, 255, 255, 255, 0}));
    EXPECT_EQ(pkcs1::SignatureBlock(Bytes(53, 9), 64).size(), 64U);
}

TEST(Pkcs1, RefusesDataThatLeaveNoRoomForEightBytesOfPadding)
{
    EXPECT_THROW(pkcs1::SignatureBlock(Bytes(54, 9), 64), Botan::Encoding_Error);
    EXPECT_THROW(pkcs1::SignatureBlock(Bytes{}, 10), Botan::Encoding_Error);
    EXPECT_THROW(pkcs1::SignatureBlock(Bytes{}, 0), Botan::Encoding_Error);
}

TEST(Pkcs1, OpensBlocksWithDataOfEachLength)
{
    for (std::size_t length = 0; length <= blockLength - pkcs1::leastFraming; ++length) {
        Bytes data;
        for (std::size_t i = 0; i < length; ++i) {
            data.push_back(static_cast<uint8_t>(i)); // a zero too
        }
        EXPECT_EQ(Open(EncryptionBlock(data), 0xFF), data) << length;
    }
}

TEST(Pkcs1, RefusesWhatIsNoEncryptionBlock)
{
    const Bytes good = EncryptionBlock({1, 2, 3});
    Bytes block = good;
    block[0] = 1;
    ExpectRefused(block);
    block[0] = 0x80;
    ExpectRefused(block);
    block = good;
    for (const uint8_t type : Bytes{0, 1, 3, 0x82, 255}) {
        block[1] = type;
        ExpectRefused(block);
    }
    for (std::size_t i = 2; i < 10; ++i) { // padding that ends too early
        block = good;
        block[i] = 0;
        ExpectRefused(block);
    }
    block = good;
    block[10] = 0; // eight bytes of it
    EXPECT_EQ(Open(block, 0xFF), Bytes(block.begin() + 11, block.end()));
    block = Bytes(blockLength, 0x5A); // which has no end
    block[0] = 0;
    block[1] = 2;
    ExpectRefused(block);
    ExpectRefused({});
    ExpectRefused(Bytes(10, 0));
    ExpectRefused({0, 2, 1, 1, 1, 1, 1, 1, 1, 0});
    EXPECT_EQ(Open({0, 2, 1, 1, 1, 1, 1, 1, 1, 1, 0}, 0xFF), Bytes());
}

} // namespace
