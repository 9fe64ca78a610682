// The keys of the software card: what they sign is verified by openssl and by the library, and what either
// encrypts for them is decrypted.
#include "tests/crosscheck/card_fixture.h"

namespace crosscheck {
namespace {

class CardKey : public CardFixture, public ::testing::WithParamInterface<unsigned>
{
protected:
    void Start()
    {
        StartWithCard(GetParam());
        OpenSsl("x509 -inform DER -in home/state/cards/card/es-1.der -noout -pubkey -out public.pem");
        publicKey = ReadPublicKey("-pubin -in public.pem");
        ASSERT_EQ(publicKey.modulus.size(), GetParam() / 8);
    }

    bool OpenSslVerifies(const std::string& keyFile, const Hash& hash, const Bytes& document,
                         const Bytes& signature) const
    {
        Write("document", document);
        Write("signature", signature);
        return OpenSslAccepts(std::string("dgst -") + hash.name + " -verify " + keyFile +
                              " -signature signature document");
    }

    PublicKey publicKey;
};

TEST_P(CardKey, SignatureOfEachHashIsVerifiedByOpensslAndHere)
{
    Start();
    const CK_OBJECT_HANDLE privateKey = FindPrivateKey(session);
    const CK_OBJECT_HANDLE object = CreateKey(publicKey);
    const Bytes document = TextBytes("a document");
    for (const Hash& hash : hashes) {
        const Bytes digestInfo = DigestInfo(hash, document);
        const Bytes signature = Sign(session, privateKey, digestInfo);
        EXPECT_TRUE(OpenSslVerifies("public.pem", hash, document, signature)) << hash.name;
        EXPECT_FALSE(OpenSslVerifies("public.pem", hash, TextBytes("another"), signature)) << hash.name;
        const CK_RV expected = signature.front() == 0 ? CKR_ARGUMENTS_BAD : CKR_OK;
        EXPECT_EQ(Verify(object, digestInfo, signature), expected) << hash.name;
    }
}

TEST_P(CardKey, QualifiedKeySignsWhatOpensslVerifies)
{
    Start();
    OpenSsl("x509 -inform DER -in home/state/cards/card/qes-1.der -noout -pubkey -out qualified.pem");
    const CK_SESSION_HANDLE qualified = OpenSession(qualifiedSlot);
    std::string pin = "654321";
    ASSERT_EQ(f->C_Login(qualified, CKU_CONTEXT_SPECIFIC, reinterpret_cast<CK_UTF8CHAR_PTR>(pin.data()),
                         static_cast<CK_ULONG>(pin.size())),
              CKR_OK);
    const Bytes document = TextBytes("a document");
    const Bytes signature = Sign(qualified, FindPrivateKey(qualified), DigestInfo(hashes[2], document));
    EXPECT_TRUE(OpenSslVerifies("qualified.pem", hashes[2], document, signature));
    EXPECT_FALSE(OpenSslVerifies("public.pem", hashes[2], document, signature)) << "the other key";
}

TEST_P(CardKey, DecryptsWhatOpensslEncrypted)
{
    Start();
    const CK_OBJECT_HANDLE privateKey = FindPrivateKey(session);
    const std::size_t longest = publicKey.modulus.size() - 11;
    for (const std::size_t length : {std::size_t{1}, std::size_t{32}, longest}) {
        const Bytes data(length, 0xC5);
        Write("plain", data);
        OpenSsl("pkeyutl -encrypt -pubin -inkey public.pem -in plain -out encrypted");
        EXPECT_EQ(Decrypt(privateKey, ReadFile("encrypted")), data) << length;
    }
}

TEST_P(CardKey, DecryptsWhatTheLibraryEncrypted)
{
    Start();
    const CK_OBJECT_HANDLE privateKey = FindPrivateKey(session);
    const Bytes data = TextBytes("a secret for the card");
    EXPECT_EQ(Decrypt(privateKey, Encrypt(CreateKey(publicKey), data)), data);
    EXPECT_EQ(Decrypt(privateKey, Encrypt(privateKey, data)), data) << "its public half encrypts too";
    EXPECT_EQ(Decrypt(privateKey, Encrypt(privateKey, {})), Bytes{});
}

TEST_P(CardKey, RefusesWhatWasEncryptedForAnotherKey)
{
    Start();
    OpenSsl("x509 -inform DER -in home/state/cards/card/qes-1.der -noout -pubkey -out qualified.pem");
    Write("plain", TextBytes("a secret"));
    OpenSsl("pkeyutl -encrypt -pubin -inkey qualified.pem -in plain -out encrypted");
    Bytes encrypted = ReadFile("encrypted");
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    ASSERT_EQ(f->C_DecryptInit(session, &mechanism, FindPrivateKey(session)), CKR_OK);
    Bytes plain(encrypted.size());
    CK_ULONG length = 77;
    EXPECT_EQ(f->C_Decrypt(session, encrypted.data(), static_cast<CK_ULONG>(encrypted.size()), plain.data(),
                           &length),
              CKR_FUNCTION_FAILED);
    EXPECT_EQ(length, 77U);
}

INSTANTIATE_TEST_SUITE_P(Each, CardKey, ::testing::Values(2048, 3072, 4096),
                         [](const auto& information) { return std::to_string(information.param); });

} // namespace
} // namespace crosscheck
