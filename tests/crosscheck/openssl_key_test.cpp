// Public keys of openssl's making in the library: what the private half in a file signs is verified here, and
// what is encrypted here is decrypted there.
#include "tests/crosscheck/card_fixture.h"

#include <ostream>

namespace crosscheck {
namespace {

struct KeyKind
{
    unsigned bits;
    unsigned exponent;
};

std::ostream& operator<<(std::ostream& stream, const KeyKind& kind)
{
    return stream << kind.bits << "e" << kind.exponent;
}

class OpensslKey : public CardFixture, public ::testing::WithParamInterface<KeyKind>
{
protected:
    void MakeKey()
    {
        StartWithCard();
        MakeOpenSslKey("key.pem", GetParam().bits, GetParam().exponent);
        key = ReadPublicKey("-in key.pem");
        ASSERT_EQ(key.modulus.size(), GetParam().bits / 8);
        ASSERT_EQ(key.exponent, GetParam().exponent == 3 ? Bytes{3} : (Bytes{1, 0, 1}));
    }

    // Signs one document after the other until a signature does not begin with a zero.
    Bytes SignByOpenssl(const Hash& hash, Bytes& document)
    {
        for (int attempt = 0; attempt < 50; ++attempt) {
            document = TextBytes("document " + std::to_string(attempt));
            Write("document", document);
            OpenSsl(std::string("dgst -") + hash.name + " -sign key.pem -out signature document");
            Bytes signature = ReadFile("signature");
            if (signature.front() != 0) {
                return signature;
            }
        }
        ADD_FAILURE() << "no signature without a zero in front";
        return {};
    }

    PublicKey key;
};

TEST_P(OpensslKey, SignatureOfEachHashIsVerified)
{
    MakeKey();
    const CK_OBJECT_HANDLE object = CreateKey(key);
    for (const Hash& hash : hashes) {
        Bytes document;
        Bytes signature = SignByOpenssl(hash, document);
        const Bytes digestInfo = DigestInfo(hash, document);
        EXPECT_EQ(Verify(object, digestInfo, signature), CKR_OK) << hash.name;
        EXPECT_EQ(Verify(object, DigestInfo(hash, TextBytes("another")), signature), CKR_FUNCTION_FAILED);
        signature.back() ^= 1U;
        EXPECT_EQ(Verify(object, digestInfo, signature), CKR_FUNCTION_FAILED);
    }
}

TEST_P(OpensslKey, EncryptedDataAreDecryptedByOpenssl)
{
    MakeKey();
    const CK_OBJECT_HANDLE object = CreateKey(key);
    const std::size_t longest = key.modulus.size() - 11;
    for (const std::size_t length : {std::size_t{1}, std::size_t{32}, longest}) {
        const Bytes data(length, 0x5C);
        const Bytes encrypted = Encrypt(object, data);
        EXPECT_EQ(encrypted.size(), key.modulus.size());
        Write("encrypted", encrypted);
        std::filesystem::remove(File("plain"));
        OpenSsl("pkeyutl -decrypt -inkey key.pem -in encrypted -out plain");
        EXPECT_EQ(ReadFile("plain"), data) << length;
    }
}

TEST_P(OpensslKey, ModulusWithLeadingZerosVerifiesAndDoesNotEncrypt)
{
    MakeKey();
    key.modulus.insert(key.modulus.begin(), 0);
    const CK_OBJECT_HANDLE object = CreateKey(key);
    Bytes document;
    const Bytes signature = SignByOpenssl(hashes[2], document);
    EXPECT_EQ(Verify(object, DigestInfo(hashes[2], document), signature), CKR_OK);

    // The block counts the zero and is shifted by it. Openssl sees no padding that it knows.
    Bytes encrypted = Encrypt(object, TextBytes("a secret"));
    encrypted.pop_back();
    Write("encrypted", encrypted);
    OpenSsl("pkeyutl -decrypt -inkey key.pem -in encrypted -out plain -pkeyopt rsa_padding_mode:none");
    const Bytes block = ReadFile("plain");
    ASSERT_EQ(block.size(), GetParam().bits / 8);
    EXPECT_EQ(block.front(), 2);
    EXPECT_EQ(Bytes(block.end() - 8, block.end()), TextBytes("a secret"));
}

INSTANTIATE_TEST_SUITE_P(Each, OpensslKey,
                         ::testing::Values(KeyKind{1024, 3}, KeyKind{1024, 65537}, KeyKind{2048, 3},
                                           KeyKind{2048, 65537}, KeyKind{3072, 3}, KeyKind{3072, 65537},
                                           KeyKind{4096, 3}, KeyKind{4096, 65537}),
                         [](const auto& information) {
                             return std::to_string(information.param.bits) + "e" +
                                    std::to_string(information.param.exponent);
                         });

} // namespace
} // namespace crosscheck
