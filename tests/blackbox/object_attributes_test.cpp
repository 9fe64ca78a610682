// C_GetAttributeValue: its checks, its length protocol, and what each kind of object answers for each type.
// C_GetObjectSize and C_SetAttributeValue, which only refuse, stand here too.
#include "tests/blackbox/object_helpers.h"

#include "tests/support/frame_lines.h"
#include "tests/support/log_capture.h"
#include "tests/support/mutex_callbacks.h"

#include <algorithm>
#include <system_error>

namespace blackbox {
namespace {

const std::string requesting = "DBG C_GetAttributeValue: Object handle ";

const std::vector<CK_ATTRIBUTE_TYPE> keyTypesUnavailable{
    CKA_SUBJECT,    CKA_PRIVATE_EXPONENT, CKA_PRIME_1,           CKA_PRIME_2,
    CKA_EXPONENT_1, CKA_EXPONENT_2,       CKA_COEFFICIENT,       CKA_KEY_GEN_MECHANISM,
    CKA_EC_PARAMS,  CKA_EC_POINT,         CKA_WRAP_WITH_TRUSTED, CKA_UNWRAP_TEMPLATE};

// What private and public keys both have, of what is shown.
const std::vector<CK_ATTRIBUTE_TYPE> keyTypesOwned{CKA_CLASS,
                                                   CKA_ID,
                                                   CKA_LABEL,
                                                   CKA_KEY_TYPE,
                                                   CKA_TOKEN,
                                                   CKA_EXTRACTABLE,
                                                   CKA_SENSITIVE,
                                                   CKA_PRIVATE,
                                                   CKA_PUBLIC_EXPONENT,
                                                   CKA_MODULUS,
                                                   CKA_MODULUS_BITS,
                                                   CKA_SIGN,
                                                   CKA_ALWAYS_AUTHENTICATE,
                                                   CKA_ENCRYPT,
                                                   CKA_DECRYPT,
                                                   CKA_NEVER_EXTRACTABLE};

const std::vector<CK_ATTRIBUTE_TYPE> keyTypesStored{CKA_CLASS,
                                                    CKA_TOKEN,
                                                    CKA_TRUSTED,
                                                    CKA_KEY_TYPE,
                                                    CKA_MODULUS,
                                                    CKA_MODULUS_BITS,
                                                    CKA_PUBLIC_EXPONENT,
                                                    CKA_PRIVATE,
                                                    CKA_LABEL,
                                                    CKA_MODIFIABLE,
                                                    CKA_SECONDARY_AUTH,
                                                    CKA_ALWAYS_AUTHENTICATE,
                                                    CKA_ID,
                                                    CKA_SENSITIVE,
                                                    CKA_ENCRYPT,
                                                    CKA_DECRYPT,
                                                    CKA_WRAP,
                                                    CKA_UNWRAP,
                                                    CKA_SIGN,
                                                    CKA_SIGN_RECOVER,
                                                    CKA_VERIFY,
                                                    CKA_VERIFY_RECOVER,
                                                    CKA_DERIVE,
                                                    CKA_START_DATE,
                                                    CKA_END_DATE,
                                                    CKA_EXTRACTABLE,
                                                    CKA_LOCAL,
                                                    CKA_NEVER_EXTRACTABLE,
                                                    CKA_ALWAYS_SENSITIVE,
                                                    CKA_ALLOWED_MECHANISMS};

const std::vector<CK_ATTRIBUTE_TYPE> certificateTypesUnavailable{
    CKA_CERTIFICATE_CATEGORY,       CKA_JAVA_MIDP_SECURITY_DOMAIN, CKA_URL,
    CKA_HASH_OF_SUBJECT_PUBLIC_KEY, CKA_HASH_OF_ISSUER_PUBLIC_KEY, CKA_CHECK_VALUE};

const std::vector<CK_ATTRIBUTE_TYPE> certificateTypesStored{
    CKA_CLASS,  CKA_TOKEN,         CKA_VALUE,          CKA_CERTIFICATE_TYPE,
    CKA_ISSUER, CKA_SERIAL_NUMBER, CKA_TRUSTED,        CKA_SUBJECT,
    CKA_ID,     CKA_START_DATE,    CKA_END_DATE,       CKA_PRIVATE,
    CKA_LABEL,  CKA_MODIFIABLE,    CKA_SECONDARY_AUTH, CKA_ALWAYS_AUTHENTICATE};

// Every type with a name of its own, one above and one below some of them, and some of no standing at all.
std::vector<CK_ATTRIBUTE_TYPE> ManyTypes()
{
    std::vector<CK_ATTRIBUTE_TYPE> types;
    for (CK_ATTRIBUTE_TYPE type = 0; type <= 0x700; ++type) {
        types.push_back(type);
    }
    for (CK_ATTRIBUTE_TYPE type = 0x40000200; type <= 0x40000220; ++type) {
        types.push_back(type);
    }
    for (CK_ATTRIBUTE_TYPE type = 0x400005F0; type <= 0x40000610; ++type) {
        types.push_back(type);
    }
    types.insert(types.end(), {0x7FFFFFFF, CKA_VENDOR_DEFINED, 0x80000001, 0xFFFFFFFF});
    return types;
}

bool Has(const std::vector<CK_ATTRIBUTE_TYPE>& types, CK_ATTRIBUTE_TYPE type)
{
    return std::find(types.begin(), types.end(), type) != types.end();
}

class ObjectAttributesTest : public ObjectsTest
{
protected:
    // Asks an object for each of very many types. `owned` are the stored types that it has.
    void ExpectAnswers(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                       const std::vector<CK_ATTRIBUTE_TYPE>& unavailable,
                       const std::vector<CK_ATTRIBUTE_TYPE>& stored,
                       const std::vector<CK_ATTRIBUTE_TYPE>& owned)
    {
        for (const CK_ATTRIBUTE_TYPE type : ManyTypes()) {
            const Reading reading = Read(session, object, type);
            if (Has(owned, type)) {
                EXPECT_EQ(reading.result, CKR_OK) << "type " << type;
                EXPECT_NE(reading.length, CK_UNAVAILABLE_INFORMATION) << "type " << type;
            } else if (Has(unavailable, type) || Has(stored, type)) {
                EXPECT_EQ(reading, Unavailable()) << "type " << type;
            } else {
                EXPECT_EQ(reading, Invalid()) << "type " << type;
            }
        }
    }
};

TEST_F(ObjectAttributesTest, BeforeTheStartItIsRefused)
{
    Template query;
    query.Null(CKA_LABEL, untouchedLength);
    EXPECT_EQ(Get(1, firstCertificate, query), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(f->C_GetAttributeValue(1, 1, nullptr, 1), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(query.Length(0), untouchedLength);
}

TEST_F(ObjectAttributesTest, NullTemplateWithACountIsRefusedBeforeTheLock)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    Initialize(&arguments);
    EXPECT_EQ(f->C_GetAttributeValue(99, 1, nullptr, 1), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(TakeCalls(), Texts{});
}

TEST_F(ObjectAttributesTest, RunsUnderTheLockAndLeavesTheCardAlone)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    InitializeWithCard(CertifiedCard(), &arguments);
    const CK_SESSION_HANDLE session = OpenSession(qualifiedSlot);
    LoginUser(session);
    script->ForgetCalls();
    Template query;
    query.Null(CKA_LABEL);
    EXPECT_EQ(Get(session, firstCertificate, query), CKR_OK);
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(1)", "UnlockMutex(1)"}));
}

TEST_F(ObjectAttributesTest, RequestIsLoggedUnderTheLockOnly)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template query;
    query.Null(CKA_LABEL);
    script->Next("QES_VerifyPin", {.hook = [&] {
                     log.Forget();
                     EXPECT_THROW(Get(session, firstCertificate, query), std::system_error);
                     EXPECT_EQ(log.Take(), Texts{EnteringLine("C_GetAttributeValue")});
                 }});
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OK);
}

TEST_F(ObjectAttributesTest, UnknownSessionIsRefusedBeforeTheObject)
{
    Initialize();
    Template query;
    query.Null(CKA_LABEL, untouchedLength);
    EXPECT_EQ(Get(1, 99, query), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(query.Length(0), untouchedLength);
}

TEST_F(ObjectAttributesTest, UnknownObjectIsRefused)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template query;
    query.Null(CKA_LABEL, untouchedLength);
    EXPECT_EQ(Get(session, firstCertificate + 2, query), CKR_OBJECT_HANDLE_INVALID);
    EXPECT_EQ(Get(session, 0, query), CKR_OBJECT_HANDLE_INVALID);
    EXPECT_EQ(f->C_GetAttributeValue(session, 0, nullptr, 0), CKR_OBJECT_HANDLE_INVALID);
    EXPECT_EQ(query.Length(0), untouchedLength);
}

TEST_F(ObjectAttributesTest, CountOfZeroSucceedsWithGoodHandles)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    log.Forget();
    EXPECT_EQ(f->C_GetAttributeValue(session, firstCertificate, nullptr, 0), CKR_OK);
    EXPECT_EQ(log.Take(), (Texts{EnteringLine("C_GetAttributeValue"),
                                 requesting + "0x70000001, requesting attributes "}));
    EXPECT_EQ(f->C_GetAttributeValue(99, firstCertificate, nullptr, 0), CKR_SESSION_HANDLE_INVALID);
}

TEST_F(ObjectAttributesTest, SuccessAndInvalidTypeLeaveWithoutALeavingLine)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template query;
    query.Null(CKA_LABEL).Null(CKA_PRIVATE_EXPONENT).Null(CKA_ID);
    log.Forget();
    EXPECT_EQ(Get(session, firstPrivateKey, query), CKR_OK);
    EXPECT_EQ(log.Take(),
              (Texts{EnteringLine("C_GetAttributeValue"),
                     requesting + "0x30000001, requesting attributes  3 CKA_LABEL,  291 [00000123h] UNKNOWN "
                                  "ATTRIBUTE,  258 CKA_ID"}));
    EXPECT_EQ(Get(session, firstCertificate, query), CKR_ATTRIBUTE_TYPE_INVALID);
    EXPECT_EQ(log.Take().size(), 2U);
}

TEST_F(ObjectAttributesTest, FailuresBeforeTheAttributesHaveALeavingLine)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template query;
    query.Null(CKA_CLASS);
    const std::string entering = EnteringLine("C_GetAttributeValue");
    log.Forget();
    EXPECT_EQ(f->C_GetAttributeValue(session, 5, nullptr, 2), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(log.Take(), (Texts{entering, LeavingLine("C_GetAttributeValue", "7 CKR_ARGUMENTS_BAD")}));
    EXPECT_EQ(Get(99, 5, query), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(log.Take(), (Texts{entering, requesting + "0x5, requesting attributes  0 CKA_CLASS",
                                 LeavingLine("C_GetAttributeValue", "b3 CKR_SESSION_HANDLE_INVALID")}));
    EXPECT_EQ(Get(session, 5, query), CKR_OBJECT_HANDLE_INVALID);
    EXPECT_EQ(log.Take(), (Texts{entering, requesting + "0x5, requesting attributes  0 CKA_CLASS",
                                 LeavingLine("C_GetAttributeValue", "82 CKR_OBJECT_HANDLE_INVALID")}));
}

TEST_F(ObjectAttributesTest, RequestTextIsCutAtTheEndOfItsBuffer)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template query;
    std::string text;
    for (int count = 0; count < 100; ++count) {
        query.Null(CKA_CERTIFICATE_TYPE);
        text += (count == 0 ? "" : ", ") + std::string(" 128 CKA_CERTIFICATE_TYPE");
    }
    log.Forget();
    EXPECT_EQ(Get(session, firstCertificate, query), CKR_OK);
    const Texts lines = log.Take();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1], requesting + "0x70000001, requesting attributes " + text.substr(0, 1023));
    EXPECT_EQ(query.Length(99), 4U) << "the request itself is not cut";
}

TEST_F(ObjectAttributesTest, NullValueAsksForTheLengthOnly)
{
    const Card card = CertifiedCard();
    const CK_SESSION_HANDLE session = StartLoggedIn(card);
    Template query;
    query.Null(CKA_VALUE, 0).Null(CKA_VALUE, 0xFFFFFFFF);
    EXPECT_EQ(Get(session, firstCertificate, query), CKR_OK);
    EXPECT_EQ(query.Length(0), card.qes[0].certificate.size());
    EXPECT_EQ(query.Length(1), card.qes[0].certificate.size());
}

TEST_F(ObjectAttributesTest, WholeValueIsCopiedWhateverTheLengthSaid)
{
    const Card card = CertifiedCard();
    const Bytes& certificate = card.qes[0].certificate;
    const CK_SESSION_HANDLE session = StartLoggedIn(card);
    for (const CK_ULONG announced : {CK_ULONG{0}, CK_ULONG{1}, CK_ULONG{0xFFFFFFFF}}) {
        Template query;
        query.Room(CKA_VALUE, certificate.size() + 2, announced);
        EXPECT_EQ(Get(session, firstCertificate, query), CKR_OK);
        EXPECT_EQ(query.Length(0), certificate.size());
        EXPECT_EQ(query.Value(0), certificate + Bytes({0xEE, 0xEE})) << "announced " << announced;
    }
}

TEST_F(ObjectAttributesTest, UnavailableValueLeavesTheBufferAndTheLoopGoesOn)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template query;
    query.Room(CKA_PRIVATE_EXPONENT, 4, 4).Room(CKA_ID, 9, 0);
    EXPECT_EQ(Get(session, firstPrivateKey, query), CKR_OK);
    EXPECT_EQ(query.Length(0), CK_UNAVAILABLE_INFORMATION);
    EXPECT_EQ(query.Value(0), Bytes(4, 0xEE));
    EXPECT_EQ(query.Length(1), 9U);
    EXPECT_EQ(query.Value(1), TextBytes("Sig_ZEP_0"));
}

TEST_F(ObjectAttributesTest, InvalidTypeStopsTheLoopWithTheLengthZero)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template query;
    query.Room(CKA_LABEL, 19, 0).Room(CKA_MODULUS, 4, 4).Room(CKA_LABEL, 19, untouchedLength);
    EXPECT_EQ(Get(session, firstCertificate, query), CKR_ATTRIBUTE_TYPE_INVALID);
    EXPECT_EQ(query.Length(0), 19U);
    EXPECT_EQ(query.Value(0), TextBytes("Signing Certificate"));
    EXPECT_EQ(query.Length(1), 0U);
    EXPECT_EQ(query.Value(1), Bytes(4, 0xEE));
    EXPECT_EQ(query.Length(2), untouchedLength);
    EXPECT_EQ(query.Value(2), Bytes(19, 0xEE));
}

TEST_F(ObjectAttributesTest, StoredEmptyValueHasTheLengthZeroAndIsNotUnavailable)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    const CK_OBJECT_HANDLE key = CreatePublicKey(session, 0);
    Template query;
    query.Room(CKA_MODULUS, 4, 4);
    EXPECT_EQ(Get(session, key, query), CKR_OK);
    EXPECT_EQ(query.Length(0), 0U);
    EXPECT_EQ(query.Value(0), Bytes(4, 0xEE));
}

TEST_F(ObjectAttributesTest, ObjectOfTheOtherSlotAndOfAnotherCardCanBeRead)
{
    InitializeWithTwoCards(CertifiedCard());
    LoginUser(OpenSession(qualifiedSlot));
    const CK_SESSION_HANDLE ordinary = OpenSession(ordinarySlot);
    const CK_SESSION_HANDLE otherCard = OpenSession(3);
    EXPECT_EQ(Read(ordinary, firstCertificate, CKA_ID), Stored(TextBytes("Sig_ZEP_0")));
    EXPECT_EQ(Read(otherCard, firstPrivateKey, CKA_ID), Stored(TextBytes("Sig_ZEP_0")));
}

TEST_F(ObjectAttributesTest, SessionThatIsNotLoggedInCanReadAnObjectWhoseHandleItKnows)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(f->C_Logout(session), CKR_OK);
    EXPECT_EQ(Read(session, firstPrivateKey, CKA_LABEL), Stored(TextBytes("Signing Key")));
}

TEST_F(ObjectAttributesTest, ObjectOfARemovedCardIsUnknown)
{
    InitializeWithTwoCards(CertifiedCard());
    LoginUser(OpenSession(qualifiedSlot));
    const CK_SESSION_HANDLE otherCard = OpenSession(3);
    EXPECT_EQ(Read(otherCard, firstCertificate, CKA_ID), Stored(TextBytes("Sig_ZEP_0")));
    script->RemoveCard(readerA);
    ProcessEvents();
    Template query;
    query.Null(CKA_ID);
    EXPECT_EQ(Get(otherCard, firstCertificate, query), CKR_OBJECT_HANDLE_INVALID);
}

TEST_F(ObjectAttributesTest, CertificateAnswersEachTypeByItsTable)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    const std::vector<CK_ATTRIBUTE_TYPE> owned{
        CKA_CLASS,   CKA_LABEL,   CKA_ID,    CKA_CERTIFICATE_TYPE, CKA_TOKEN,  CKA_TRUSTED,
        CKA_PRIVATE, CKA_SUBJECT, CKA_VALUE, CKA_SERIAL_NUMBER,    CKA_ISSUER, CKA_START_DATE,
        CKA_END_DATE};
    ExpectAnswers(session, firstCertificate, certificateTypesUnavailable, certificateTypesStored, owned);
}

TEST_F(ObjectAttributesTest, PrivateKeyAnswersEachTypeByItsTable)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    // CKA_SUBJECT is stored with it, too, and is not given.
    ExpectAnswers(session, firstPrivateKey, keyTypesUnavailable, keyTypesStored, keyTypesOwned);
}

TEST_F(ObjectAttributesTest, PublicKeyAnswersByTheTableOfKeys)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    const CK_OBJECT_HANDLE key = CreatePublicKey(session);
    std::vector<CK_ATTRIBUTE_TYPE> owned = keyTypesOwned;
    owned.push_back(CKA_VERIFY);
    ExpectAnswers(session, key, keyTypesUnavailable, keyTypesStored, owned);
}

TEST_F(ObjectAttributesTest, WrapTemplateIsInvalidWhereUnwrapTemplateIsUnavailable)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(Read(session, firstPrivateKey, CKA_WRAP_TEMPLATE), Invalid());
    EXPECT_EQ(Read(session, firstPrivateKey, CKA_UNWRAP_TEMPLATE), Unavailable());
}

TEST_F(ObjectAttributesTest, ObjectSizeBeforeTheStartIsRefused)
{
    CK_ULONG size = untouchedLength;
    EXPECT_EQ(f->C_GetObjectSize(1, 1, &size), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(f->C_GetObjectSize(1, 1, nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(size, untouchedLength);
}

TEST_F(ObjectAttributesTest, ObjectSizeFailsWithGoodArgumentsWithoutTheLock)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    LogCapture log(script);
    InitializeWithCard(CertifiedCard(), &arguments);
    const CK_SESSION_HANDLE session = OpenSession(qualifiedSlot);
    LoginUser(session);
    script->ForgetCalls();
    log.Forget();
    CK_ULONG size = untouchedLength;
    EXPECT_EQ(f->C_GetObjectSize(session, firstCertificate, &size), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(f->C_GetObjectSize(99, 99, &size), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(f->C_GetObjectSize(99, 99, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(size, untouchedLength);
    EXPECT_EQ(TakeCalls(), Texts{});
    const std::string entering = EnteringLine("C_GetObjectSize");
    const std::string invalid = LeavingLine("C_GetObjectSize", "b3 CKR_SESSION_HANDLE_INVALID");
    EXPECT_EQ(log.Take(), (Texts{entering, invalid, entering, invalid, entering,
                                 LeavingLine("C_GetObjectSize", "7 CKR_ARGUMENTS_BAD")}));
}

TEST_F(ObjectAttributesTest, SettingIsRefusedAndChangesNothing)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template change;
    change.Text(CKA_LABEL, "Another");
    EXPECT_EQ(f->C_SetAttributeValue(session, firstCertificate, change.Records(), change.Count()),
              CKR_FUNCTION_NOT_SUPPORTED);
    EXPECT_EQ(Read(session, firstCertificate, CKA_LABEL), Stored(TextBytes("Signing Certificate")));
}

} // namespace
} // namespace blackbox
