// C_CreateObject: what a template must have, and the public key that comes of it.
#include "tests/blackbox/object_helpers.h"

#include "tests/support/frame_lines.h"
#include "tests/support/log_capture.h"
#include "tests/support/mutex_callbacks.h"

namespace blackbox {
namespace {

constexpr CK_OBJECT_HANDLE untouchedHandle = 0x5555;

Template GoodTemplate()
{
    Template records;
    records.Add(CKA_MODULUS, Counting(128)).Add(CKA_PUBLIC_EXPONENT, {1, 0, 1}).Flag(CKA_VERIFY, CK_TRUE);
    return records;
}

class CreateObjectTest : public ObjectsTest
{
protected:
    void ExpectRefused(CK_SESSION_HANDLE session, Template& records)
    {
        CK_OBJECT_HANDLE object = untouchedHandle;
        EXPECT_EQ(Create(session, records, &object), CKR_ATTRIBUTE_TYPE_INVALID);
        EXPECT_EQ(object, untouchedHandle);
    }

    // That nothing was made: the first handle has not been issued.
    void ExpectNothingMade(CK_SESSION_HANDLE session)
    {
        EXPECT_EQ(f->C_GetAttributeValue(session, firstPublicKey, nullptr, 0), CKR_OBJECT_HANDLE_INVALID);
        EXPECT_EQ(CreatePublicKey(session), firstPublicKey);
    }

    CK_SESSION_HANDLE Start(CK_SLOT_ID slot = qualifiedSlot)
    {
        InitializeWithCard(CertifiedCard());
        const CK_SESSION_HANDLE session = OpenSession(slot);
        script->ForgetCalls();
        return session;
    }
};

TEST_F(CreateObjectTest, BeforeTheStartItIsRefused)
{
    Template records = GoodTemplate();
    CK_OBJECT_HANDLE object = untouchedHandle;
    EXPECT_EQ(Create(1, records, &object), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(object, untouchedHandle);
}

TEST_F(CreateObjectTest, UnknownSessionIsRefusedBeforeTheTemplate)
{
    Initialize();
    CK_OBJECT_HANDLE object = untouchedHandle;
    EXPECT_EQ(f->C_CreateObject(1, nullptr, 0, &object), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(object, untouchedHandle);
}

TEST_F(CreateObjectTest, RunsUnderTheLockAndLeavesTheCardAlone)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    InitializeWithCard(CertifiedCard(), &arguments);
    const CK_SESSION_HANDLE session = OpenSession(qualifiedSlot);
    script->ForgetCalls();
    const Texts locked{"LockMutex(1)", "UnlockMutex(1)"};
    CreatePublicKey(session);
    EXPECT_EQ(TakeCalls(), locked);
    CK_OBJECT_HANDLE object = untouchedHandle;
    EXPECT_EQ(f->C_CreateObject(session, nullptr, 0, &object), CKR_ATTRIBUTE_TYPE_INVALID);
    EXPECT_EQ(TakeCalls(), locked) << "the template is tested under the lock";
}

TEST_F(CreateObjectTest, TemplateOfNothingIsRefused)
{
    const CK_SESSION_HANDLE session = Start();
    CK_OBJECT_HANDLE object = untouchedHandle;
    Template records = GoodTemplate();
    EXPECT_EQ(f->C_CreateObject(session, nullptr, 3, &object), CKR_ATTRIBUTE_TYPE_INVALID);
    EXPECT_EQ(f->C_CreateObject(session, records.Records(), 0, &object), CKR_ATTRIBUTE_TYPE_INVALID);
    EXPECT_EQ(object, untouchedHandle);
    ExpectNothingMade(session);
}

TEST_F(CreateObjectTest, EachOfTheThreeAttributesIsNeeded)
{
    const CK_SESSION_HANDLE session = Start();
    Template noVerify;
    noVerify.Add(CKA_MODULUS, Counting(128)).Add(CKA_PUBLIC_EXPONENT, {1, 0, 1});
    ExpectRefused(session, noVerify);
    Template noExponent;
    noExponent.Add(CKA_MODULUS, Counting(128)).Flag(CKA_VERIFY, CK_TRUE);
    ExpectRefused(session, noExponent);
    Template noModulus;
    noModulus.Add(CKA_PUBLIC_EXPONENT, {1, 0, 1}).Flag(CKA_VERIFY, CK_TRUE);
    ExpectRefused(session, noModulus);
    ExpectNothingMade(session);
}

TEST_F(CreateObjectTest, NoneOfTheThreeMayHaveANullValue)
{
    const CK_SESSION_HANDLE session = Start();
    Template nullVerify;
    nullVerify.Add(CKA_MODULUS, Counting(128)).Add(CKA_PUBLIC_EXPONENT, {1, 0, 1}).Null(CKA_VERIFY, 1);
    ExpectRefused(session, nullVerify);
    Template nullExponent;
    nullExponent.Add(CKA_MODULUS, Counting(128)).Null(CKA_PUBLIC_EXPONENT, 3).Flag(CKA_VERIFY, CK_TRUE);
    ExpectRefused(session, nullExponent);
    Template nullModulus;
    nullModulus.Null(CKA_MODULUS, 128).Add(CKA_PUBLIC_EXPONENT, {1, 0, 1}).Flag(CKA_VERIFY, CK_TRUE);
    ExpectRefused(session, nullModulus);
    ExpectNothingMade(session);
}

TEST_F(CreateObjectTest, OnlyTheFirstRecordOfATypeCounts)
{
    const CK_SESSION_HANDLE session = Start();
    Template records;
    records.Null(CKA_MODULUS).Add(CKA_MODULUS, Counting(128));
    records.Add(CKA_PUBLIC_EXPONENT, {1, 0, 1}).Flag(CKA_VERIFY, CK_TRUE);
    ExpectRefused(session, records);

    Template doubled;
    doubled.Add(CKA_MODULUS, {1, 2}).Add(CKA_MODULUS, {3, 4, 5});
    doubled.Add(CKA_PUBLIC_EXPONENT, {1, 0, 1}).Add(CKA_PUBLIC_EXPONENT, {3});
    doubled.Flag(CKA_VERIFY, CK_TRUE).Flag(CKA_VERIFY, CK_FALSE);
    CK_OBJECT_HANDLE object = 0;
    EXPECT_EQ(Create(session, doubled, &object), CKR_OK);
    EXPECT_EQ(Read(session, object, CKA_MODULUS), Stored({1, 2}));
    EXPECT_EQ(Read(session, object, CKA_PUBLIC_EXPONENT), Stored({1, 0, 1}));
    EXPECT_EQ(Read(session, object, CKA_VERIFY), Stored({1}));
}

TEST_F(CreateObjectTest, ModulusAbove1024BytesIsRefused)
{
    const CK_SESSION_HANDLE session = Start();
    Template records;
    records.Add(CKA_MODULUS, Counting(1025)).Add(CKA_PUBLIC_EXPONENT, {1, 0, 1}).Flag(CKA_VERIFY, CK_TRUE);
    ExpectRefused(session, records);
    ExpectNothingMade(session);
}

TEST_F(CreateObjectTest, ExponentAbove8BytesIsRefused)
{
    const CK_SESSION_HANDLE session = Start();
    Template records;
    records.Add(CKA_MODULUS, Counting(128)).Add(CKA_PUBLIC_EXPONENT, Counting(9)).Flag(CKA_VERIFY, CK_TRUE);
    ExpectRefused(session, records);
    ExpectNothingMade(session);
}

TEST_F(CreateObjectTest, ModulusOf1024AndExponentOf8BytesAreKeptWhole)
{
    const CK_SESSION_HANDLE session = Start();
    Template records;
    records.Add(CKA_MODULUS, Counting(1024)).Add(CKA_PUBLIC_EXPONENT, Counting(8)).Flag(CKA_VERIFY, CK_TRUE);
    CK_OBJECT_HANDLE object = 0;
    EXPECT_EQ(Create(session, records, &object), CKR_OK);
    EXPECT_EQ(Read(session, object, CKA_MODULUS), Stored(Counting(1024)));
    EXPECT_EQ(Read(session, object, CKA_PUBLIC_EXPONENT), Stored(Counting(8)));
    EXPECT_EQ(Read(session, object, CKA_MODULUS_BITS), Stored(NumberBytes(8192)));
}

TEST_F(CreateObjectTest, FaultyTemplateHasTheLeavingLineAndNoMessageOfItsOwn)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = Start();
    log.Forget();
    CK_OBJECT_HANDLE object = untouchedHandle;
    EXPECT_EQ(f->C_CreateObject(session, nullptr, 0, &object), CKR_ATTRIBUTE_TYPE_INVALID);
    EXPECT_EQ(log.Take(), (Texts{EnteringLine("C_CreateObject"),
                                 LeavingLine("C_CreateObject", "12 CKR_ATTRIBUTE_TYPE_INVALID")}));
}

TEST_F(CreateObjectTest, MakingIsLogged)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = Start(ordinarySlot);
    log.Forget();
    CreatePublicKey(session);
    const std::string adding = " InternalCache::AddPubKeyObjects: ";
    EXPECT_EQ(
        log.Take(),
        (Texts{EnteringLine("C_CreateObject"), "DBG" + adding + "Going to add public key to internal cache",
               "INFO" + adding + "Sig_EP Public key object created VERB: object handle 0x40000001",
               "DBG" + adding + "Add public key to internal cache end",
               LeavingLine("C_CreateObject", "0 CKR_OK")}));
}

TEST_F(CreateObjectTest, PublicKeyOnTheQualifiedSlotHasTheWholeAttributeList)
{
    const CK_SESSION_HANDLE session = Start();
    Template records = GoodTemplate();
    CK_OBJECT_HANDLE key = 0;
    ASSERT_EQ(Create(session, records, &key), CKR_OK);
    EXPECT_EQ(key, firstPublicKey);
    EXPECT_EQ(Read(session, key, CKA_CLASS), Stored(NumberBytes(CKO_PUBLIC_KEY)));
    EXPECT_EQ(Read(session, key, CKA_ID), Stored(TextBytes("Sig_ZEP_0")));
    EXPECT_EQ(Read(session, key, CKA_LABEL), Stored(TextBytes("Public Key")));
    EXPECT_EQ(Read(session, key, CKA_KEY_TYPE), Stored(NumberBytes(CKK_RSA)));
    EXPECT_EQ(Read(session, key, CKA_TOKEN), Stored({0}));
    EXPECT_EQ(Read(session, key, CKA_EXTRACTABLE), Stored({0}));
    EXPECT_EQ(Read(session, key, CKA_SENSITIVE), Stored({0}));
    EXPECT_EQ(Read(session, key, CKA_PRIVATE), Stored({0}));
    EXPECT_EQ(Read(session, key, CKA_PUBLIC_EXPONENT), Stored({1, 0, 1}));
    EXPECT_EQ(Read(session, key, CKA_MODULUS), Stored(Counting(128))) << "not reversed";
    EXPECT_EQ(Read(session, key, CKA_MODULUS_BITS), Stored(NumberBytes(1024)));
    EXPECT_EQ(Read(session, key, CKA_SIGN), Stored({0}));
    EXPECT_EQ(Read(session, key, CKA_ALWAYS_AUTHENTICATE), Stored({0}));
    EXPECT_EQ(Read(session, key, CKA_ENCRYPT), Stored({0}));
    EXPECT_EQ(Read(session, key, CKA_DECRYPT), Stored({0}));
    EXPECT_EQ(Read(session, key, CKA_NEVER_EXTRACTABLE), Stored({0}));
    EXPECT_EQ(Read(session, key, CKA_VERIFY), Stored({1}));
}

TEST_F(CreateObjectTest, PublicKeyOnTheOrdinarySlotEncryptsAndDecrypts)
{
    const CK_SESSION_HANDLE session = Start(ordinarySlot);
    const CK_OBJECT_HANDLE key = CreatePublicKey(session);
    EXPECT_EQ(Read(session, key, CKA_ENCRYPT), Stored({1}));
    EXPECT_EQ(Read(session, key, CKA_DECRYPT), Stored({1}));
    EXPECT_EQ(Read(session, key, CKA_ALWAYS_AUTHENTICATE), Stored({0}));
    EXPECT_EQ(Read(session, key, CKA_ID), Stored(TextBytes("Sig_EP_0")));
}

TEST_F(CreateObjectTest, ModulusOf256BytesCountsAs2048Bits)
{
    const CK_SESSION_HANDLE session = Start();
    const CK_OBJECT_HANDLE key = CreatePublicKey(session, 256);
    EXPECT_EQ(Read(session, key, CKA_MODULUS_BITS), Stored(NumberBytes(2048)));
    EXPECT_EQ(Read(session, key, CKA_ENCRYPT), Stored({0}));
}

TEST_F(CreateObjectTest, BitsCountTheLengthAndNotTheValue)
{
    const CK_SESSION_HANDLE session = Start();
    Template records;
    records.Add(CKA_MODULUS, {0, 0, 1}).Add(CKA_PUBLIC_EXPONENT, {3}).Flag(CKA_VERIFY, CK_FALSE);
    CK_OBJECT_HANDLE key = 0;
    ASSERT_EQ(Create(session, records, &key), CKR_OK);
    EXPECT_EQ(Read(session, key, CKA_MODULUS), Stored({0, 0, 1}));
    EXPECT_EQ(Read(session, key, CKA_MODULUS_BITS), Stored(NumberBytes(24)));
    EXPECT_EQ(Read(session, key, CKA_VERIFY), Stored({0}));
}

TEST_F(CreateObjectTest, AllOtherRecordsAreIgnored)
{
    const CK_SESSION_HANDLE session = Start();
    Template records;
    records.Number(CKA_CLASS, CKO_CERTIFICATE).Number(CKA_KEY_TYPE, 3).Flag(CKA_TOKEN, CK_TRUE);
    records.Text(CKA_LABEL, "Mine").Text(CKA_ID, "mine").Flag(CKA_SIGN, CK_TRUE).Null(CKA_URL, 5);
    records.Number(CKA_MODULUS_BITS, 5).Flag(CKA_PRIVATE, CK_TRUE);
    records.Add(CKA_MODULUS, {1, 2}).Add(CKA_PUBLIC_EXPONENT, {3}).Flag(CKA_VERIFY, CK_TRUE);
    CK_OBJECT_HANDLE key = 0;
    ASSERT_EQ(Create(session, records, &key), CKR_OK);
    EXPECT_EQ(Read(session, key, CKA_CLASS), Stored(NumberBytes(CKO_PUBLIC_KEY)));
    EXPECT_EQ(Read(session, key, CKA_KEY_TYPE), Stored(NumberBytes(CKK_RSA)));
    EXPECT_EQ(Read(session, key, CKA_TOKEN), Stored({0}));
    EXPECT_EQ(Read(session, key, CKA_LABEL), Stored(TextBytes("Public Key")));
    EXPECT_EQ(Read(session, key, CKA_ID), Stored(TextBytes("Sig_ZEP_0")));
    EXPECT_EQ(Read(session, key, CKA_SIGN), Stored({0}));
    EXPECT_EQ(Read(session, key, CKA_MODULUS_BITS), Stored(NumberBytes(16)));
    EXPECT_EQ(Read(session, key, CKA_PRIVATE), Stored({0}));
}

TEST_F(CreateObjectTest, SeveralPublicKeysOfASlotShareTheFirstIdText)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(CreatePublicKey(session), firstPublicKey);
    EXPECT_EQ(CreatePublicKey(session), firstPublicKey + 1);
    Template filter;
    filter.Text(CKA_ID, "Sig_ZEP_0");
    EXPECT_EQ(Find(session, filter),
              (Handles{firstCertificate, firstPrivateKey, firstPublicKey, firstPublicKey + 1}));
}

TEST_F(CreateObjectTest, WithoutALoginTheKeyCanBeReadAtOnceAndFoundOnlyLater)
{
    const CK_SESSION_HANDLE session = Start();
    const CK_OBJECT_HANDLE key = CreatePublicKey(session);
    EXPECT_EQ(Read(session, key, CKA_LABEL), Stored(TextBytes("Public Key")));
    EXPECT_EQ(FindAll(session), Handles{});
    LoginUser(session);
    EXPECT_EQ(FindAll(session), Handles{key});
}

TEST_F(CreateObjectTest, KeyOutlivesItsSessionAndALogoutAndDiesWithItsSlot)
{
    InitializeWithTwoCards(CertifiedCard());
    const CK_SESSION_HANDLE maker = OpenSession(qualifiedSlot);
    const CK_SESSION_HANDLE other = OpenSession(qualifiedSlot);
    const CK_SESSION_HANDLE otherCard = OpenSession(3);
    const CK_OBJECT_HANDLE key = CreatePublicKey(maker);
    EXPECT_EQ(f->C_CloseSession(maker), CKR_OK);
    LoginUser(other);
    EXPECT_EQ(FindAll(other), Handles{key});
    EXPECT_EQ(f->C_Logout(other), CKR_OK);
    EXPECT_EQ(Read(other, key, CKA_LABEL), Stored(TextBytes("Public Key")));
    EXPECT_EQ(f->C_DestroyObject(other, key), CKR_FUNCTION_NOT_SUPPORTED);
    EXPECT_EQ(Read(otherCard, key, CKA_LABEL), Stored(TextBytes("Public Key")));
    script->RemoveCard(readerA);
    ProcessEvents();
    EXPECT_EQ(f->C_GetAttributeValue(otherCard, key, nullptr, 0), CKR_OBJECT_HANDLE_INVALID);
}

TEST_F(CreateObjectTest, KeyIsNotFoundOnTheOtherSlot)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    CreatePublicKey(session);
    EXPECT_EQ(FindAll(OpenSession(ordinarySlot)), (Handles{firstCertificate + 1, firstPrivateKey + 1}));
}

} // namespace
} // namespace blackbox
