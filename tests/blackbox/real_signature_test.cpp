// Whole signatures, checked with nothing but what the library shows of the card.
#include "tests/blackbox/sign_helpers.h"

#include <botan/auto_rng.h>
#include <botan/hash.h>
#include <botan/pubkey.h>
#include <botan/x509cert.h>

#include <memory>

namespace blackbox {
namespace {

class RealSignatureTest : public SigningTest
{
protected:
    // The certificate with the id of the key, as the library gives it.
    Botan::X509_Certificate CertificateOf(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key)
    {
        Template filter;
        filter.Number(CKA_CLASS, CKO_CERTIFICATE).Add(CKA_ID, Read(session, key, CKA_ID).value);
        const Handles found = Find(session, filter);
        EXPECT_EQ(found.size(), 1U);
        return Botan::X509_Certificate(Read(session, found.at(0), CKA_VALUE).value);
    }

    // Lets the first signature fail to learn what the card is handed, and has the key sign just that.
    Signature SignWithKey(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, const std::string& function,
                          const Botan::RSA_PrivateKey& privateKey, const std::string& padding,
                          const Bytes& data)
    {
        Bytes handed;
        script->Next(function, {.status = anyOtherStatus,
                                .hook = [&] { handed = script->CallsOf(function).back().data; }});
        EXPECT_EQ(InitAndSign(session, data, key), Failed(CKR_FUNCTION_FAILED));
        Botan::AutoSeeded_RNG random;
        Botan::PK_Signer signer(privateKey, random, padding);
        script->Next(function, {.output = signer.sign_message(handed, random)});
        return InitAndSign(session, data, key);
    }

    static void ExpectValid(const Botan::X509_Certificate& certificate, const Bytes& message,
                            const Signature& signature)
    {
        EXPECT_EQ(signature.result, CKR_OK);
        const std::unique_ptr<Botan::Public_Key> key(certificate.subject_public_key());
        Botan::PK_Verifier verifier(*key, "EMSA3(SHA-256)");
        EXPECT_TRUE(verifier.verify_message(message, signature.value));
        Bytes other = message;
        other[0] ^= 1U;
        EXPECT_FALSE(verifier.verify_message(other, signature.value));
    }

    static Bytes HashOf(const Bytes& message)
    {
        const std::unique_ptr<Botan::HashFunction> hashFunction(Botan::HashFunction::create("SHA-256"));
        const auto digest = hashFunction->process(message.data(), message.size());
        return {digest.begin(), digest.end()};
    }

    // The DigestInfo of SHA-256 with its NULL parameters, as PKCS#1 has it.
    static Bytes Sha256DigestInfo(const Bytes& message) { return DigestInfo(HashOf(message)); }

    const Bytes message = TextBytes("The message that is signed");
};

TEST_F(RealSignatureTest, QualifiedKeySignsTheBareHash)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    const Signature signature = SignWithKey(session, firstPrivateKey, "QES_SignData", TestKey(0),
                                            "EMSA3(Raw,SHA-256)", Sha256DigestInfo(message));
    ExpectValid(CertificateOf(session, firstPrivateKey), message, signature);
}

TEST_F(RealSignatureTest, OrdinaryKeySignsTheWholeDigestInfo)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard(), ordinarySlot);
    const Signature signature = SignWithKey(session, firstPrivateKey + 1, "ES_SignData", TestKey(1),
                                            "EMSA3(Raw)", Sha256DigestInfo(message));
    ExpectValid(CertificateOf(session, firstPrivateKey + 1), message, signature);
}

TEST_F(RealSignatureTest, LongKeySignsAfterALengthQuery)
{
    Card card;
    card.es.push_back(TestCertifiedKey(3, 1, "Long Key"));
    const CK_SESSION_HANDLE session = StartLoggedIn(std::move(card), ordinarySlot);
    ASSERT_EQ(SignInit(session), CKR_OK);
    CK_ULONG length = 0;
    EXPECT_EQ(AskLength(session, length), CKR_OK);
    EXPECT_EQ(length, 256U);
    EXPECT_EQ(Sign(session, Sha256DigestInfo(message)), SignedByDefault(256));
    const Signature signature = SignWithKey(session, firstPrivateKey, "ES_SignData", TestKey(3), "EMSA3(Raw)",
                                            Sha256DigestInfo(message));
    EXPECT_EQ(signature.length, 256U);
    ExpectValid(CertificateOf(session, firstPrivateKey), message, signature);
}

} // namespace
} // namespace blackbox
