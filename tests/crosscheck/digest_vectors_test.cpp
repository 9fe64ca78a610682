// The published example vectors of the five hashes: no bytes, three, one block and a bit, two blocks and a
// bit, and a million.
#include "tests/crosscheck/card_fixture.h"

#include <ostream>

namespace crosscheck {
namespace {

struct Vectors
{
    const char* name;
    CK_MECHANISM_TYPE mechanism;
    const char* ofNothing;
    const char* ofAbc;
    const char* ofOneBlock;
    const char* ofTwoBlocks;
    const char* ofAMillion;
};

std::ostream& operator<<(std::ostream& stream, const Vectors& vectors)
{
    return stream << vectors.name;
}

constexpr char oneBlock[] = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
constexpr char twoBlocks[] = "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmno"
                             "ijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu";

class DigestVectors : public CardFixture, public ::testing::WithParamInterface<Vectors>
{
};

TEST_P(DigestVectors, ComeOutOfDigest)
{
    StartWithCard();
    const Vectors& expected = GetParam();
    EXPECT_EQ(Digest(expected.mechanism, {}), FromHex(expected.ofNothing));
    EXPECT_EQ(Digest(expected.mechanism, TextBytes("abc")), FromHex(expected.ofAbc));
    EXPECT_EQ(Digest(expected.mechanism, TextBytes(oneBlock)), FromHex(expected.ofOneBlock));
    EXPECT_EQ(Digest(expected.mechanism, TextBytes(twoBlocks)), FromHex(expected.ofTwoBlocks));
    EXPECT_EQ(Digest(expected.mechanism, Bytes(1000000, 'a')), FromHex(expected.ofAMillion));
}

INSTANTIATE_TEST_SUITE_P(
    Each, DigestVectors,
    ::testing::Values(
        Vectors{"Sha1", CKM_SHA_1, "da39a3ee5e6b4b0d3255bfef95601890afd80709",
                "a9993e364706816aba3e25717850c26c9cd0d89d", "84983e441c3bd26ebaae4aa1f95129e5e54670f1",
                "a49b2446a02c645bf419f995b67091253a04a259", "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
        Vectors{"Sha224", CKM_SHA224, "d14a028c2a3a2bc9476102bb288234c415a2b01f828ea62ac5b3e42f",
                "23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7",
                "75388b16512776cc5dba5da1fd890150b0c6455cb4f58b1952522525",
                "c97ca9a559850ce97a04a96def6d99a9e0e0e2ab14e6b8df265fc0b3",
                "20794655980c91d8bbb4c1ea97618a4bf03f42581948b2ee4ee7ad67"},
        Vectors{"Sha256", CKM_SHA256, "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855",
                "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",
                "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1",
                "cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1",
                "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
        Vectors{"Sha384", CKM_SHA384,
                "38b060a751ac96384cd9327eb1b1e36a21fdb71114be07434c0cc7bf63f6e1da"
                "274edebfe76f65fbd51ad2f14898b95b",
                "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed"
                "8086072ba1e7cc2358baeca134c825a7",
                "3391fdddfc8dc7393707a65b1b4709397cf8b1d162af05abfe8f450de5f36bc6"
                "b0455a8520bc4e6f5fe95b1fe3c8452b",
                "09330c33f71147e83d192fc782cd1b4753111b173b3b05d22fa08086e3b0f712"
                "fcc7c71a557e2db966c3e9fa91746039",
                "9d0e1809716474cb086e834e310a4a1ced149e9c00f248527972cec5704c2a5b"
                "07b8b3dc38ecc4ebae97ddd87f3d8985"},
        Vectors{"Sha512", CKM_SHA512,
                "cf83e1357eefb8bdf1542850d66d8007d620e4050b5715dc83f4a921d36ce9ce"
                "47d0d13c5d85f2b0ff8318d2877eec2f63b931bd47417a81a538327af927da3e",
                "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
                "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f",
                "204a8fc6dda82f0a0ced7beb8e08a41657c16ef468b228a8279be331a703c335"
                "96fd15c13b1b07f9aa1d3bea57789ca031ad85c7a71dd70354ec631238ca3445",
                "8e959b75dae313da8cf4f72814fc143f8f7779c6eb9f7fa17299aeadb6889018"
                "501d289e4900f7e4331b99dec4b5433ac7d329eeb6dd26545e96e55b874be909",
                "e718483d0ce769644e2e42c7bc15b4638e1f98b13b2044285632a803afa973eb"
                "de0ff244877ea60a4cb0432ce577c31beb009c5c2c49aa2e4eadb217ad8cc09b"}),
    [](const auto& information) { return information.param.name; });

class DigestCrossCheck : public CardFixture
{
};

TEST_F(DigestCrossCheck, AgreesWithOpensslOnEveryLengthAroundABlock)
{
    StartWithCard();
    for (const Hash& hash : hashes) {
        for (const std::size_t length : {0U, 1U, 55U, 56U, 63U, 64U, 65U, 111U, 112U, 127U, 128U, 5000U}) {
            Bytes data(length);
            for (std::size_t i = 0; i < length; ++i) {
                data[i] = static_cast<uint8_t>(i * 7);
            }
            Write("data", data);
            OpenSsl(std::string("dgst -") + hash.name + " -binary -out digest data");
            EXPECT_EQ(Digest(hash.mechanism, data), ReadFile("digest")) << hash.name << length;
        }
    }
}

} // namespace
} // namespace crosscheck
