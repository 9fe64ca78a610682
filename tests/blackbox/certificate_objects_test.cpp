// The objects that a login makes of the certificates and key records of a card.
#include "tests/blackbox/object_helpers.h"

#include "src/botan/big_int_bytes.h"
#include "tests/support/log_capture.h"

#include <algorithm>

namespace blackbox {
namespace {

class CertificateObjectsTest : public ObjectsTest
{
protected:
    CK_SESSION_HANDLE StartWithCertificate(const Bytes& certificate)
    {
        Card card;
        card.qes.push_back({certificate, TestKeyInfo(0, 2)});
        return StartLoggedIn(std::move(card));
    }
};

TEST_F(CertificateObjectsTest, SlotsOfACardGoOnWithTheNextHandlesAndStartAtPositionZeroEach)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(FindAll(session), (Handles{firstCertificate, firstPrivateKey}));
    EXPECT_EQ(FindAll(OpenSession(ordinarySlot)), (Handles{firstCertificate + 1, firstPrivateKey + 1}));
    EXPECT_EQ(Read(session, firstCertificate, CKA_ID), Stored(TextBytes("Sig_ZEP_0")));
    EXPECT_EQ(Read(session, firstPrivateKey, CKA_ID), Stored(TextBytes("Sig_ZEP_0")));
    EXPECT_EQ(Read(session, firstCertificate + 1, CKA_ID), Stored(TextBytes("Sig_EP_0")));
    EXPECT_EQ(Read(session, firstPrivateKey + 1, CKA_ID), Stored(TextBytes("Sig_EP_0")));
}

TEST_F(CertificateObjectsTest, NoPublicKeyComesFromTheCard)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template filter;
    filter.Number(CKA_CLASS, CKO_PUBLIC_KEY);
    EXPECT_EQ(Find(session, filter), Handles{});
    EXPECT_EQ(CreatePublicKey(session), firstPublicKey) << "no handle of that kind was used up";
}

TEST_F(CertificateObjectsTest, CertificateHasTheWholeAttributeList)
{
    CertificateContent content;
    content.serialNumber = Botan::BigInt("0x1234567890");
    content.subject = NameOf("Subject Name");
    content.issuer = NameOf("Issuer Name");
    const Bytes certificate = MakeCertificate(content);
    const CK_SESSION_HANDLE session = StartWithCertificate(certificate);
    const auto subject = content.subject.BER_encode();
    const auto issuer = content.issuer.BER_encode();
    const CK_OBJECT_HANDLE object = firstCertificate;
    EXPECT_EQ(Read(session, object, CKA_CLASS), Stored(NumberBytes(CKO_CERTIFICATE)));
    EXPECT_EQ(Read(session, object, CKA_LABEL), Stored(TextBytes("Signing Certificate")));
    EXPECT_EQ(Read(session, object, CKA_ID), Stored(TextBytes("Sig_ZEP_0")));
    EXPECT_EQ(Read(session, object, CKA_CERTIFICATE_TYPE), Stored(NumberBytes(CKC_X_509)));
    EXPECT_EQ(Read(session, object, CKA_TOKEN), Stored({1}));
    EXPECT_EQ(Read(session, object, CKA_TRUSTED), Stored({0}));
    EXPECT_EQ(Read(session, object, CKA_PRIVATE), Stored({1}));
    EXPECT_EQ(Read(session, object, CKA_SUBJECT), Stored({subject.begin(), subject.end()}));
    EXPECT_EQ(Read(session, object, CKA_VALUE), Stored(certificate));
    EXPECT_EQ(Read(session, object, CKA_SERIAL_NUMBER), Stored({0x12, 0x34, 0x56, 0x78, 0x90}))
        << "no tag and no length";
    EXPECT_EQ(Read(session, object, CKA_ISSUER), Stored({issuer.begin(), issuer.end()}));
    EXPECT_EQ(Read(session, object, CKA_START_DATE), Stored(TextBytes("20200102")));
    EXPECT_EQ(Read(session, object, CKA_END_DATE), Stored(TextBytes("20300102")));
}

TEST_F(CertificateObjectsTest, LabelIsTheSameOnEveryCertificateOfBothSlots)
{
    Card card = CardWithQualifiedKeys({1, 2});
    card.es.push_back(TestCertifiedKey(1, 1, "Ordinary"));
    const CK_SESSION_HANDLE session = StartLoggedIn(std::move(card));
    for (CK_OBJECT_HANDLE object = firstCertificate; object < firstCertificate + 3; ++object) {
        EXPECT_EQ(Read(session, object, CKA_LABEL), Stored(TextBytes("Signing Certificate")));
    }
}

TEST_F(CertificateObjectsTest, DatesBelowTenHaveALeadingZero)
{
    struct Dates
    {
        const char* notBefore;
        const char* notAfter;
        const char* start;
        const char* end;
    };
    Card card;
    const std::vector<Dates> all{{"20240305081500Z", "20241125081500Z", "20240305", "20241125"},
                                 {"20231003000000Z", "20250110235959Z", "20231003", "20250110"},
                                 {"19990912000000Z", "20011231235959Z", "19990912", "20011231"},
                                 {"20200229235959Z", "20991001000000Z", "20200229", "20991001"}};
    for (const Dates& dates : all) {
        CertificateContent content;
        content.subject = NameOf("Dated");
        content.issuer = content.subject;
        content.notBefore = dates.notBefore;
        content.notAfter = dates.notAfter;
        card.qes.push_back({MakeCertificate(content), TestKeyInfo(0, 2)});
    }
    const CK_SESSION_HANDLE session = StartLoggedIn(std::move(card));
    CK_OBJECT_HANDLE object = firstCertificate;
    for (const Dates& dates : all) {
        EXPECT_EQ(Read(session, object, CKA_START_DATE), Stored(TextBytes(dates.start)));
        EXPECT_EQ(Read(session, object, CKA_END_DATE), Stored(TextBytes(dates.end)));
        ++object;
    }
}

TEST_F(CertificateObjectsTest, SerialNumberIsTheBareIntegerWithoutItsLeadingZero)
{
    CertificateContent content;
    content.subject = NameOf("Serial");
    content.issuer = content.subject;
    content.serialNumber = Botan::BigInt("0x80FF00");
    const CK_SESSION_HANDLE session = StartWithCertificate(MakeCertificate(content));
    EXPECT_EQ(Read(session, firstCertificate, CKA_SERIAL_NUMBER), Stored({0x80, 0xFF, 0x00}));
}

TEST_F(CertificateObjectsTest, EmptySubjectHasNoBytes)
{
    CertificateContent content;
    content.issuer = NameOf("Issuer Only");
    const CK_SESSION_HANDLE session = StartWithCertificate(MakeCertificate(content));
    const auto issuer = content.issuer.BER_encode();
    EXPECT_EQ(Read(session, firstCertificate, CKA_ISSUER), Stored({issuer.begin(), issuer.end()}));
    EXPECT_EQ(Read(session, firstCertificate, CKA_SUBJECT), Stored({}));
}

TEST_F(CertificateObjectsTest, QualifiedKeyHasTheWholeAttributeList)
{
    const Card card = CertifiedCard();
    const CK_SESSION_HANDLE session = StartLoggedIn(card);
    const CardKeyInfo& key = card.qes[0].key;
    Bytes modulus(key.modulus, key.modulus + key.modulusLength);
    std::reverse(modulus.begin(), modulus.end());
    const CK_OBJECT_HANDLE object = firstPrivateKey;
    EXPECT_EQ(Read(session, object, CKA_CLASS), Stored(NumberBytes(CKO_PRIVATE_KEY)));
    EXPECT_EQ(Read(session, object, CKA_ID), Stored(TextBytes("Sig_ZEP_0")));
    EXPECT_EQ(Read(session, object, CKA_LABEL), Stored(TextBytes("Signing Key")));
    EXPECT_EQ(Read(session, object, CKA_KEY_TYPE), Stored(NumberBytes(CKK_RSA)));
    EXPECT_EQ(Read(session, object, CKA_TOKEN), Stored({1}));
    EXPECT_EQ(Read(session, object, CKA_EXTRACTABLE), Stored({0}));
    EXPECT_EQ(Read(session, object, CKA_SENSITIVE), Stored({1}));
    EXPECT_EQ(Read(session, object, CKA_PRIVATE), Stored({1}));
    EXPECT_EQ(Read(session, object, CKA_PUBLIC_EXPONENT), Stored({1, 0, 1}));
    EXPECT_EQ(Read(session, object, CKA_MODULUS), Stored(modulus));
    EXPECT_EQ(Read(session, object, CKA_MODULUS_BITS), Stored(NumberBytes(1024)));
    EXPECT_EQ(Read(session, object, CKA_SIGN), Stored({1}));
    EXPECT_EQ(Read(session, object, CKA_ALWAYS_AUTHENTICATE), Stored({1}));
    EXPECT_EQ(Read(session, object, CKA_ENCRYPT), Stored({0}));
    EXPECT_EQ(Read(session, object, CKA_DECRYPT), Stored({0}));
    EXPECT_EQ(Read(session, object, CKA_NEVER_EXTRACTABLE), Stored({1}));
}

TEST_F(CertificateObjectsTest, OrdinaryKeyDiffersInFourRowsOnly)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    const CK_OBJECT_HANDLE object = firstPrivateKey + 1;
    EXPECT_EQ(Read(session, object, CKA_SIGN), Stored({1}));
    EXPECT_EQ(Read(session, object, CKA_ALWAYS_AUTHENTICATE), Stored({0}));
    EXPECT_EQ(Read(session, object, CKA_ENCRYPT), Stored({1}));
    EXPECT_EQ(Read(session, object, CKA_DECRYPT), Stored({1}));
    EXPECT_EQ(Read(session, object, CKA_ID), Stored(TextBytes("Sig_EP_0")));
    for (const CK_ATTRIBUTE_TYPE same :
         {CKA_CLASS, CKA_LABEL, CKA_KEY_TYPE, CKA_TOKEN, CKA_EXTRACTABLE, CKA_SENSITIVE, CKA_PRIVATE,
          CKA_PUBLIC_EXPONENT, CKA_MODULUS_BITS, CKA_NEVER_EXTRACTABLE}) {
        EXPECT_EQ(Read(session, object, same), Read(session, firstPrivateKey, same)) << "type " << same;
    }
}

TEST_F(CertificateObjectsTest, ModulusIsReversedAndExponentIsNot)
{
    Card card;
    scripted::CertifiedKey key{TestCertificate(0, "Odd Key"), {}};
    key.key.keyReference = 1;
    key.key.modulusBits = 77;
    const Bytes modulus{1, 2, 3, 4, 5};
    std::copy(modulus.begin(), modulus.end(), key.key.modulus);
    key.key.modulusLength = modulus.size();
    const Bytes exponent{7, 8, 9, 10};
    std::copy(exponent.begin(), exponent.end(), key.key.publicExponent);
    key.key.publicExponentLength = 3;
    card.qes.push_back(key);
    const CK_SESSION_HANDLE session = StartLoggedIn(std::move(card));
    EXPECT_EQ(Read(session, firstPrivateKey, CKA_MODULUS), Stored({5, 4, 3, 2, 1}));
    EXPECT_EQ(Read(session, firstPrivateKey, CKA_PUBLIC_EXPONENT), Stored({7, 8, 9}));
    EXPECT_EQ(Read(session, firstPrivateKey, CKA_MODULUS_BITS), Stored(NumberBytes(77)))
        << "as the record says, not counted from the modulus";
}

TEST_F(CertificateObjectsTest, ModulusLengthOfZeroGivesAnEmptyModulus)
{
    Card card;
    scripted::CertifiedKey key{TestCertificate(0, "No Modulus"), {}};
    key.key.keyReference = 2;
    card.qes.push_back(key);
    const CK_SESSION_HANDLE session = StartLoggedIn(std::move(card));
    EXPECT_EQ(Read(session, firstPrivateKey, CKA_MODULUS), Stored({}));
    EXPECT_EQ(Read(session, firstPrivateKey, CKA_PUBLIC_EXPONENT), Stored({}));
    EXPECT_EQ(Read(session, firstPrivateKey, CKA_MODULUS_BITS), Stored(NumberBytes(0)));
}

TEST_F(CertificateObjectsTest, KeyTypeIsRsaForEveryReference)
{
    const std::vector<uint32_t> references{0, 1, 2, 3, 4, 5, 6, 7};
    const CK_SESSION_HANDLE session = StartLoggedIn(CardWithQualifiedKeys(references));
    for (CK_OBJECT_HANDLE object = firstPrivateKey; object < firstPrivateKey + references.size(); ++object) {
        EXPECT_EQ(Read(session, object, CKA_KEY_TYPE), Stored(NumberBytes(CKK_RSA)));
        EXPECT_EQ(Read(session, object, CKA_SIGN), Stored({1}));
    }
}

TEST_F(CertificateObjectsTest, EachCertificateAndItsKeyHaveTheIdTextOfTheirPosition)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CardWithOrdinaryKeys({1, 1, 1, 1, 1, 1, 1, 1}), 2);
    for (CK_OBJECT_HANDLE position = 0; position < 8; ++position) {
        const Reading id = Stored(TextBytes("Sig_EP_" + std::to_string(position)));
        EXPECT_EQ(Read(session, firstCertificate + position, CKA_ID), id);
        EXPECT_EQ(Read(session, firstPrivateKey + position, CKA_ID), id);
    }
}

TEST_F(CertificateObjectsTest, SurvivorsOfAFailedParseMoveUp)
{
    LogCapture log(script);
    Card card;
    card.qes.push_back({Bytes{0x30, 0x03, 0x02, 0x01, 0x05}, TestKeyInfo(1, 1)});
    card.qes.push_back(TestCertifiedKey(0, 2, "Survivor"));
    const Bytes survivor = card.qes[1].certificate;
    const CK_SESSION_HANDLE session = StartLoggedIn(std::move(card));
    const Texts lines = log.Take();
    const std::string failure =
        "ERR CreateSlotObjects: Parsing certificate number: 0 for Sig_ZEP slot failed";
    EXPECT_EQ(std::count(lines.begin(), lines.end(), failure), 1);
    EXPECT_EQ(FindAll(session), (Handles{firstCertificate, firstPrivateKey}));
    EXPECT_EQ(Read(session, firstCertificate, CKA_ID), Stored(TextBytes("Sig_ZEP_0")));
    EXPECT_EQ(Read(session, firstPrivateKey, CKA_ID), Stored(TextBytes("Sig_ZEP_0")));
    EXPECT_EQ(Read(session, firstCertificate, CKA_VALUE), Stored(survivor));
    const Botan::BigInt modulus = TestKey(0).get_n();
    EXPECT_EQ(Read(session, firstPrivateKey, CKA_MODULUS), Stored(BigIntBytes(modulus)))
        << "the key of that certificate";
}

TEST_F(CertificateObjectsTest, MakingIsLoggedPerSlotInOrder)
{
    LogCapture log(script);
    InitializeWithCard(CertifiedCard());
    const CK_SESSION_HANDLE session = OpenSession(qualifiedSlot);
    log.Forget();
    LoginUser(session);
    Texts lines;
    for (const std::string& line : log.Take()) {
        if (line.find("InternalCache::Add") != std::string::npos) {
            lines.push_back(line);
        }
    }
    const auto slot = [](const std::string& label, const std::string& number) {
        const std::string certificates = " InternalCache::AddCertificateObjects: ";
        const std::string keys = " InternalCache::AddPrivKeyObjects: ";
        return Texts{"DBG" + certificates + "Going to add certificates to internal cache",
                     "INFO" + certificates + label +
                         " Certificate object created VERB: object handle 0x7000000" + number,
                     "DBG" + certificates + "Add certificates to internal cache end",
                     "DBG" + keys + "Going to add private key to internal cache",
                     "INFO" + keys + label + " Private key object created VERB: object handle 0x3000000" +
                         number,
                     "DBG" + keys + "Add private key to internal cache end"};
    };
    EXPECT_EQ(lines, slot("Sig_ZEP", "1") + slot("Sig_EP", "2"));
}

TEST_F(CertificateObjectsTest, SlotWithoutCertificatesMakesNothingAndLogsBothEnds)
{
    LogCapture log(script);
    InitializeWithCard(Card{});
    const CK_SESSION_HANDLE session = OpenSession(qualifiedSlot);
    log.Forget();
    LoginUser(session);
    const Texts certificates = log.TakeOf("InternalCache::AddCertificateObjects");
    const std::string prefix = "DBG InternalCache::AddCertificateObjects: ";
    const Texts once{prefix + "Going to add certificates to internal cache",
                     prefix + "Add certificates to internal cache end"};
    EXPECT_EQ(certificates, once + once) << "once for each slot";
    EXPECT_EQ(FindAll(session), Handles{});
}

TEST_F(CertificateObjectsTest, ObjectsAreNotReadFromTheCardAgain)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    script->ChangeCard(readerA, [](Card& card) { card.qes.clear(); });
    EXPECT_EQ(f->C_Logout(session), CKR_OK);
    LoginUser(session);
    EXPECT_EQ(FindAll(session), (Handles{firstCertificate, firstPrivateKey}));
    EXPECT_EQ(script->CallsOf("QES_GetCertificates").size(), 0U);
}

} // namespace
} // namespace blackbox
