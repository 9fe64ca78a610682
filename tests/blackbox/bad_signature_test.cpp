// Signatures that come close: blocks that a careless check would take for good ones.
#include "tests/blackbox/crypto_helpers.h"

#include <ostream>

namespace blackbox {
namespace {

constexpr size_t modulusLength = 128; // of the modulus of test key 0

Bytes Hash(const Bytes& digestInfo)
{
    return {digestInfo.end() - 32, digestInfo.end()};
}

const Bytes sha256{0x06, 0x09, 0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x01};
const Bytes sha384{0x06, 0x09, 0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x02};
const Bytes null{0x05, 0x00};

// An element whose length takes one byte more than it needs.
Bytes LongLength(uint8_t tag, const Bytes& content)
{
    return Bytes{tag, 0x81, static_cast<uint8_t>(content.size())} + content;
}

// A block with so many ones, whatever the content leaves of it filled with `filler`.
Bytes BlockWithOnes(size_t ones, const Bytes& content, uint8_t filler)
{
    const Bytes front = Bytes{0, 1} + Repeated(0xFF, ones) + Bytes{0} + content;
    return front + Repeated(filler, modulusLength - front.size());
}

Bytes Changed(Bytes block, size_t position, uint8_t byte)
{
    block.at(position) = byte;
    return block;
}

Bytes Block(const Bytes& content)
{
    return SignatureBlock(modulusLength, content);
}

struct BadBlock
{
    std::string name;
    std::function<Bytes(const Bytes& digestInfo)> make;
};

std::ostream& operator<<(std::ostream& stream, const BadBlock& block)
{
    return stream << block.name;
}

const std::vector<BadBlock> badBlocks{
    // What stands in the place of the DigestInfo.
    {"BareHash", [](const Bytes& data) { return Block(Hash(data)); }},
    {"NoContent", [](const Bytes&) { return Block({}); }},
    {"HashWithOneByteChanged",
     [](const Bytes& data) {
         return Changed(Block(data), modulusLength - 1, static_cast<uint8_t>(data.back() ^ 1U));
     }},
    {"HashOneByteShort", [](const Bytes& data) { return Block(Bytes(data.begin(), data.end() - 1)); }},
    {"OtherHashIdentifier",
     [](const Bytes& data) { return Block(Der(0x30, Der(0x30, sha384 + null) + Der(0x04, Hash(data)))); }},
    {"NoHashIdentifier",
     [](const Bytes& data) { return Block(Der(0x30, Der(0x30, null) + Der(0x04, Hash(data)))); }},
    {"MissingNull",
     [](const Bytes& data) { return Block(Der(0x30, Der(0x30, sha256) + Der(0x04, Hash(data)))); }},
    {"NullWithContent",
     [](const Bytes& data) {
         return Block(Der(0x30, Der(0x30, sha256 + Bytes{0x05, 0x01, 0x00}) + Der(0x04, Hash(data))));
     }},
    {"NullTwice",
     [](const Bytes& data) {
         return Block(Der(0x30, Der(0x30, sha256 + null + null) + Der(0x04, Hash(data))));
     }},
    {"GarbageInTheParameters",
     [](const Bytes& data) {
         return Block(Der(0x30, Der(0x30, sha256 + Der(0x04, Repeated(0xAB, 20))) + Der(0x04, Hash(data))));
     }},
    {"LongLengthOfTheSequence",
     [](const Bytes& data) {
         return Block(LongLength(0x30, Der(0x30, sha256 + null) + Der(0x04, Hash(data))));
     }},
    {"LongLengthOfTheAlgorithm",
     [](const Bytes& data) {
         return Block(Der(0x30, LongLength(0x30, sha256 + null) + Der(0x04, Hash(data))));
     }},
    {"LongLengthOfTheHash",
     [](const Bytes& data) {
         return Block(Der(0x30, Der(0x30, sha256 + null) + LongLength(0x04, Hash(data))));
     }},
    {"IndefiniteLength",
     [](const Bytes& data) {
         return Block(Bytes{0x30, 0x80} + Der(0x30, sha256 + null) + Der(0x04, Hash(data)) + Bytes{0, 0});
     }},
    {"GarbageBehindTheHashInside",
     [](const Bytes& data) {
         return Block(Der(0x30, Der(0x30, sha256 + null) + Der(0x04, Hash(data)) + Der(0x04, {1, 2})));
     }},
    {"GarbageBehindTheDigestInfo", [](const Bytes& data) { return Block(data + Bytes{0}); }},
    {"DigestInfoTwice", [](const Bytes& data) { return Block(data + data); }},

    // What stands in front of it.
    {"ShortPaddingAndGarbageBehind", [](const Bytes& data) { return BlockWithOnes(8, data, 0xAB); }},
    {"ShortPaddingAndZerosBehind", [](const Bytes& data) { return BlockWithOnes(8, data, 0); }},
    {"OneByteOfPadding", [](const Bytes& data) { return BlockWithOnes(1, data, 0); }},
    {"NoPadding", [](const Bytes& data) { return BlockWithOnes(0, data, 0); }},
    {"PaddingOneByteShort",
     [](const Bytes& data) { return BlockWithOnes(modulusLength - 4 - data.size(), data, 0); }},
    {"PaddingWithAnotherByte", [](const Bytes& data) { return Changed(Block(data), 20, 0xFE); }},
    {"PaddingWithAZero", [](const Bytes& data) { return Changed(Block(data), 20, 0); }},
    {"FirstPaddingByteZero", [](const Bytes& data) { return Changed(Block(data), 2, 0); }},
    {"LastPaddingByteChanged",
     [](const Bytes& data) { return Changed(Block(data), modulusLength - data.size() - 2, 0x7F); }},
    {"NoSeparator",
     [](const Bytes& data) { return Changed(Block(data), modulusLength - data.size() - 1, 0xFF); }},
    {"OtherSeparator",
     [](const Bytes& data) { return Changed(Block(data), modulusLength - data.size() - 1, 1); }},
    {"BlockTypeZero", [](const Bytes& data) { return Changed(Block(data), 1, 0); }},
    {"BlockTypeTwo", [](const Bytes& data) { return Changed(Block(data), 1, 2); }},
    {"FirstByteOne", [](const Bytes& data) { return Changed(Block(data), 0, 1); }},
    {"PaddingOfZeros", [](const Bytes& data) { return Repeated(0, modulusLength - data.size()) + data; }},
    {"ContentFirst",
     [](const Bytes& data) {
         return Bytes{0, 1} + data + Repeated(0xFF, modulusLength - 2 - data.size());
     }},
};

class BadBlockTest : public CryptoTest, public ::testing::WithParamInterface<BadBlock>
{
protected:
    // One whose signature of the block does not begin with a zero: a block that no data change has but one
    // signature with each key.
    static const Botan::RSA_PrivateKey& Key()
    {
        const Bytes block = GetParam().make(DigestInfo(Counting(32, 1)));
        for (const unsigned number : {0U, 1U}) {
            if (PrivateOperation(TestKey(number), block).front() != 0) {
                return TestKey(number);
            }
        }
        return TestKey(2);
    }
};

TEST_P(BadBlockTest, FailsTheFunction)
{
    const CK_SESSION_HANDLE session = StartSession();
    const Botan::RSA_PrivateKey& key = Key();
    ASSERT_EQ(VerifyInit(session, CreateKey(session, key)), CKR_OK);
    const SignedData bad = SignBlock(key, GetParam().make);
    ASSERT_EQ(GetParam().make(bad.data).size(), modulusLength);
    EXPECT_EQ(Verify(session, bad), CKR_FUNCTION_FAILED);
    EXPECT_EQ(Verify(session, SignWell(key)), CKR_OK);
}

INSTANTIATE_TEST_SUITE_P(Each, BadBlockTest, ::testing::ValuesIn(badBlocks),
                         [](const auto& information) { return information.param.name; });

class BadSignatureTest : public CryptoTest
{
protected:
    CK_SESSION_HANDLE StartVerifying()
    {
        const CK_SESSION_HANDLE session = StartSession();
        EXPECT_EQ(VerifyInit(session, CreateKey(session, TestKey(0))), CKR_OK);
        return session;
    }

    static Botan::BigInt Number(const Bytes& bytes) { return Botan::BigInt(bytes); }

    const SignedData good = SignWell(TestKey(0));
    const Botan::BigInt modulus = TestKey(0).get_n();
};

TEST_F(BadSignatureTest, OfAnotherLengthFailsTheFunction)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    const Bytes& signature = good.signature;
    EXPECT_EQ(Verify(session, good.data, Bytes(signature.begin(), signature.end() - 1)), CKR_FUNCTION_FAILED);
    EXPECT_EQ(Verify(session, good.data, Bytes(signature.begin(), signature.begin() + 64)),
              CKR_FUNCTION_FAILED);
    EXPECT_EQ(Verify(session, good.data, Bytes(signature.begin(), signature.begin() + 1)),
              CKR_FUNCTION_FAILED);
    EXPECT_EQ(Verify(session, good.data, signature + Bytes{0}), CKR_FUNCTION_FAILED);
    EXPECT_EQ(Verify(session, good.data, signature + signature), CKR_FUNCTION_FAILED);
    EXPECT_EQ(Verify(session, good.data, Bytes{1} + signature), CKR_FUNCTION_FAILED);
    EXPECT_EQ(Verify(session, good.data, Repeated(0xFF, 100000)), CKR_FUNCTION_FAILED);
}

TEST_F(BadSignatureTest, WithAZeroInFrontIsABadArgument)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    EXPECT_EQ(Verify(session, good.data, Bytes{0} + good.signature), CKR_ARGUMENTS_BAD);
}

TEST_F(BadSignatureTest, ThatIsTheSameNumberModuloTheModulusFailsTheFunction)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    EXPECT_EQ(Verify(session, good.data, BigEndian(Number(good.signature) + modulus)), CKR_FUNCTION_FAILED);
    EXPECT_EQ(Verify(session, good.data, BigEndian(Number(good.signature) + modulus * 2)),
              CKR_FUNCTION_FAILED);
    EXPECT_EQ(Verify(session, good.data, BigEndian(modulus - Number(good.signature))), CKR_FUNCTION_FAILED);
}

TEST_F(BadSignatureTest, ThatIsASpecialNumberFailsTheFunction)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    EXPECT_EQ(Verify(session, good.data, Bytes{1}), CKR_FUNCTION_FAILED);
    EXPECT_EQ(Verify(session, good.data, Bytes{2}), CKR_FUNCTION_FAILED);
    EXPECT_EQ(Verify(session, good.data, BigEndian(modulus - 1)), CKR_FUNCTION_FAILED);
    EXPECT_EQ(Verify(session, good.data, BigEndian(modulus)), CKR_FUNCTION_FAILED);
    EXPECT_EQ(Verify(session, good.data, BigEndian(modulus + 1)), CKR_FUNCTION_FAILED);
}

TEST_F(BadSignatureTest, ThatIsTheBlockItselfFailsTheFunction)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    const Bytes block = SignatureBlock(modulusLength, good.data);
    EXPECT_EQ(Verify(session, good.data, Bytes(block.begin() + 1, block.end())), CKR_FUNCTION_FAILED);
}

// The padding has at least eight ones: 117 bytes of data leave just as many.
TEST_F(BadSignatureTest, WithFewerThanEightOnesFailsTheFunction)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    for (const size_t count : {117U, 118U, 124U, 125U}) {
        const Bytes data = Counting(count, 9);
        const Bytes signature = PrivateOperation(TestKey(0), SignatureBlock(modulusLength, data));
        const CK_RV judged = count == 117 ? CKR_OK : CKR_FUNCTION_FAILED;
        EXPECT_EQ(Verify(session, data, signature), signature.front() == 0 ? CKR_ARGUMENTS_BAD : judged)
            << count;
    }
}

TEST_F(BadSignatureTest, OverMoreDataThanTheKeyHasRoomForFailsTheFunction)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    EXPECT_EQ(Verify(session, Counting(1000), good.signature), CKR_FUNCTION_FAILED);
}

} // namespace
} // namespace blackbox
