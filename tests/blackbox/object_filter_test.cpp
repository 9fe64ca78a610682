// The template of a search: what matches an object, and what the log tells of it.
#include "tests/blackbox/object_helpers.h"

#include "tests/support/log_capture.h"

namespace blackbox {
namespace {

const std::string matching = "DBG PkcsObject::FilterMatches: ";

using ObjectFilterTest = ObjectsTest;

TEST_F(ObjectFilterTest, NullTemplateWithACountMatchesEverything)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(f->C_FindObjectsInit(session, nullptr, 3), CKR_OK);
    EXPECT_EQ(FindNext(session), (Handles{firstCertificate, firstPrivateKey}));
}

TEST_F(ObjectFilterTest, TemplateWithACountOfZeroMatchesEverything)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template filter;
    filter.Number(CKA_CLASS, CKO_PUBLIC_KEY);
    EXPECT_EQ(f->C_FindObjectsInit(session, filter.Records(), 0), CKR_OK);
    EXPECT_EQ(FindNext(session), (Handles{firstCertificate, firstPrivateKey}));
}

TEST_F(ObjectFilterTest, TemplateIsCopiedByTheInit)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    {
        Template filter;
        filter.Number(CKA_CLASS, CKO_PRIVATE_KEY);
        EXPECT_EQ(f->C_FindObjectsInit(session, filter.Records(), filter.Count()), CKR_OK);
    }
    EXPECT_EQ(FindNext(session), Handles{firstPrivateKey});
}

TEST_F(ObjectFilterTest, ClassAndSignMatchTheSigningKey)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template filter;
    filter.Number(CKA_CLASS, CKO_PRIVATE_KEY).Flag(CKA_SIGN, CK_TRUE);
    EXPECT_EQ(Find(session, filter), Handles{firstPrivateKey});
}

TEST_F(ObjectFilterTest, BooleanOfTwoBytesMatchesNothing)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template filter;
    filter.Number(CKA_CLASS, CKO_PRIVATE_KEY).Add(CKA_SIGN, {1, 0});
    EXPECT_EQ(Find(session, filter), Handles{});
}

TEST_F(ObjectFilterTest, BooleanOfFFIsNotThatOfOne)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template filter;
    filter.Flag(CKA_SIGN, 0xFF);
    EXPECT_EQ(Find(session, filter), Handles{});
}

TEST_F(ObjectFilterTest, NumberMatchesInItsStoredWidthAndByteOrderOnly)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template eightBytes;
    eightBytes.Add(CKA_CLASS, {3, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(Find(session, eightBytes), Handles{});
    Template bigEndian;
    bigEndian.Add(CKA_CLASS, {0, 0, 0, 3});
    EXPECT_EQ(Find(session, bigEndian), Handles{});
    Template oneByte;
    oneByte.Add(CKA_CLASS, {3});
    EXPECT_EQ(Find(session, oneByte), Handles{});
    Template asStored;
    asStored.Add(CKA_CLASS, {3, 0, 0, 0});
    EXPECT_EQ(Find(session, asStored), Handles{firstPrivateKey});
}

TEST_F(ObjectFilterTest, TextIsComparedExactlyInCaseAndLength)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    for (const char* text : {"signing key", "Signing Ke", "Signing Keys", "SIGNING KEY"}) {
        Template filter;
        filter.Text(CKA_LABEL, text);
        EXPECT_EQ(Find(session, filter), Handles{}) << text;
    }
    Template withTerminator;
    withTerminator.Text(CKA_LABEL, std::string("Signing Key\0", 12));
    EXPECT_EQ(Find(session, withTerminator), Handles{});
    Template exact;
    exact.Text(CKA_LABEL, "Signing Key");
    EXPECT_EQ(Find(session, exact), Handles{firstPrivateKey});
}

TEST_F(ObjectFilterTest, IdTiesCertificateAndKey)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CardWithQualifiedKeys({1, 2}));
    Template filter;
    filter.Text(CKA_ID, "Sig_ZEP_1");
    EXPECT_EQ(Find(session, filter), (Handles{firstCertificate + 1, firstPrivateKey + 1}));
}

TEST_F(ObjectFilterTest, AllRecordsHaveToMatch)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template filter;
    filter.Number(CKA_CLASS, CKO_PRIVATE_KEY).Flag(CKA_TOKEN, CK_TRUE).Flag(CKA_ENCRYPT, CK_TRUE);
    EXPECT_EQ(Find(session, filter), Handles{});
}

TEST_F(ObjectFilterTest, TypeNamedTwiceWithTwoValuesMatchesNothing)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template filter;
    filter.Number(CKA_CLASS, CKO_PRIVATE_KEY).Number(CKA_CLASS, CKO_CERTIFICATE);
    EXPECT_EQ(Find(session, filter), Handles{});
}

TEST_F(ObjectFilterTest, TypeNamedTwiceWithOneValueMatches)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template filter;
    filter.Number(CKA_CLASS, CKO_PRIVATE_KEY).Number(CKA_CLASS, CKO_PRIVATE_KEY);
    EXPECT_EQ(Find(session, filter), Handles{firstPrivateKey});
}

TEST_F(ObjectFilterTest, UnavailableTypeThatIsNotStoredMatchesNothing)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template filter;
    filter.Null(CKA_PRIME_1);
    EXPECT_EQ(Find(session, filter), Handles{});
}

TEST_F(ObjectFilterTest, KeyIsFoundByItsSubjectThoughItDoesNotGiveIt)
{
    CertificateContent content;
    content.subject = NameOf("Found By Subject");
    Card card;
    card.qes.push_back({MakeCertificate(content), TestKeyInfo(0, 2)});
    const CK_SESSION_HANDLE session = StartLoggedIn(std::move(card));
    Template filter;
    const auto subject = content.subject.BER_encode();
    filter.Add(CKA_SUBJECT, Bytes(subject.begin(), subject.end()));
    EXPECT_EQ(Find(session, filter), (Handles{firstCertificate, firstPrivateKey}));
    EXPECT_EQ(Read(session, firstPrivateKey, CKA_SUBJECT), Unavailable());
}

TEST_F(ObjectFilterTest, AllFormsOfAnEmptyValueMatchAnEmptyStoredValue)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    const CK_OBJECT_HANDLE empty = CreatePublicKey(session, 0);
    CreatePublicKey(session, 4);
    Template noBytes;
    noBytes.Add(CKA_MODULUS, {});
    EXPECT_EQ(Find(session, noBytes), Handles{empty});
    Template null;
    null.Null(CKA_MODULUS);
    EXPECT_EQ(Find(session, null), Handles{empty});
    Template nullWithLength;
    nullWithLength.Null(CKA_MODULUS, 4);
    EXPECT_EQ(Find(session, nullWithLength), Handles{empty}) << "nothing is read through the null pointer";
}

TEST_F(ObjectFilterTest, EmptyFilterLogsNoLineOfItsOwn)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    log.Forget();
    FindAll(session);
    EXPECT_EQ(log.TakeOf("PkcsObject::FilterMatches"), Texts{});
}

TEST_F(ObjectFilterTest, MatchIsLoggedAfterAllThatWasRequired)
{
    LogCapture log(script);
    Card card = CertifiedCard();
    const CK_SESSION_HANDLE session = StartLoggedIn(std::move(card));
    Template filter;
    filter.Flag(CKA_TOKEN, CK_TRUE).Text(CKA_ID, "Sig_ZEP_0");
    log.Forget();
    EXPECT_EQ(Find(session, filter).size(), 2U);
    const auto matched = [](const std::string& object) {
        return Texts{matching + "Required attribute CKA_TOKEN in object with handle " + object,
                     matching + "Required attribute value 01",
                     matching + "Required attribute CKA_ID in object with handle " + object,
                     matching + "Required attribute value " + UpperHex(TextBytes("Sig_ZEP_0")),
                     matching + "Attribute: 1 found",
                     matching + "Attribute: 258 found",
                     matching + "Filter matches, all attributes found, object handle " + object};
    };
    EXPECT_EQ(log.TakeOf("PkcsObject::FilterMatches"), matched("0x70000001") + matched("0x30000001"));
}

TEST_F(ObjectFilterTest, FirstMissingAttributeEndsTheTestAndIsLogged)
{
    LogCapture log(script);
    Card card;
    card.qes.push_back(TestCertifiedKey(0, 2, "Only"));
    const CK_SESSION_HANDLE session = StartLoggedIn(std::move(card));
    Template filter;
    filter.Flag(CKA_TRUSTED, CK_FALSE).Flag(CKA_SIGN, CK_TRUE).Null(CKA_PRIME_1);
    log.Forget();
    EXPECT_EQ(Find(session, filter), Handles{});
    const auto required = [](const std::string& object) {
        return Texts{matching + "Required attribute CKA_TRUSTED in object with handle " + object,
                     matching + "Required attribute value 00",
                     matching + "Required attribute CKA_SIGN in object with handle " + object,
                     matching + "Required attribute value 01",
                     matching + "Required attribute [00000124h] UNKNOWN ATTRIBUTE in object with handle " +
                         object,
                     matching + "Required attribute value "};
    };
    const Texts certificateEnd{
        matching + "Attribute: 134 found",
        matching + "Filter does not match, attribute CKA_SIGN not found in object with handle 0x70000001"};
    const Texts keyEnd{
        matching + "Filter does not match, attribute CKA_TRUSTED not found in object with handle 0x30000001"};
    EXPECT_EQ(log.TakeOf("PkcsObject::FilterMatches"),
              required("0x70000001") + certificateEnd + required("0x30000001") + keyEnd);
}

TEST_F(ObjectFilterTest, DifferingValueIsLoggedWithWhatWasRequired)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template filter;
    filter.Number(CKA_CLASS, CKO_PRIVATE_KEY);
    log.Forget();
    EXPECT_EQ(Find(session, filter), Handles{firstPrivateKey});
    EXPECT_EQ(log.TakeOf("PkcsObject::FilterMatches"),
              (Texts{matching + "Required attribute CKA_CLASS in object with handle 0x70000001",
                     matching + "Required attribute value 03000000",
                     matching + "Filter does not match, attribute CKA_CLASS found in object but values are "
                                "different, object handle 0x70000001",
                     matching + "Filter required template attribute value: 03000000",
                     matching + "Required attribute CKA_CLASS in object with handle 0x30000001",
                     matching + "Required attribute value 03000000", matching + "Attribute: 0 found",
                     matching + "Filter matches, all attributes found, object handle 0x30000001"}));
}

TEST_F(ObjectFilterTest, OnlyObjectsOfTheSlotAreTested)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard(), ordinarySlot);
    Template filter;
    filter.Number(CKA_CLASS, CKO_CERTIFICATE);
    log.Forget();
    EXPECT_EQ(Find(session, filter), Handles{firstCertificate + 1});
    for (const std::string& line : log.TakeOf("PkcsObject::FilterMatches")) {
        EXPECT_EQ(line.find("0x70000001"), std::string::npos) << line;
        EXPECT_EQ(line.find("0x30000001"), std::string::npos) << line;
    }
}

} // namespace
} // namespace blackbox
