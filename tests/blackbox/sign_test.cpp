// What a signature hands to the card and gives back: by key reference, slot, mechanism and kind of key.
#include "tests/blackbox/sign_helpers.h"

namespace blackbox {
namespace {

using SignTest = SigningTest;

const std::vector<uint32_t> allReferences{1, 2, 3, 4, 5, 6, 0, 7};

// The hash length that a reference asks for; 20 for one that asks for none.
size_t HashLengthOf(uint32_t reference)
{
    switch (reference) {
    case 2:
        return 32;
    case 3:
        return 48;
    case 4:
        return 64;
    default:
        return 20;
    }
}

Bytes Concatenated(const std::vector<Bytes>& parts)
{
    Bytes all;
    for (const Bytes& part : parts) {
        all = all + part;
    }
    return all;
}

TEST_F(SignTest, QualifiedSlotHandsTheCardWhatEachReferenceWants)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CardWithQualifiedKeys(allReferences));
    CK_OBJECT_HANDLE key = firstPrivateKey;
    for (const uint32_t reference : allReferences) {
        const Bytes given = Counting(HashLengthOf(reference));
        const Bytes data = DigestInfo(given);
        EXPECT_EQ(InitAndSign(session, data, key++), SignedByDefault()) << "reference " << reference;
        EXPECT_EQ(TakeCalls(), (Texts{openKeyboard, SignCall("QES", reference == 1 ? data : given)}));
    }
}

TEST_F(SignTest, OrdinarySlotHandsTheCardWhatEachReferenceWantsWithoutAKeyboard)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CardWithOrdinaryKeys(allReferences), ordinarySlot);
    CK_OBJECT_HANDLE key = firstPrivateKey;
    for (const uint32_t reference : allReferences) {
        const Bytes given = Counting(HashLengthOf(reference));
        const Bytes data = DigestInfo(given);
        EXPECT_EQ(InitAndSign(session, data, key++), SignedByDefault()) << "reference " << reference;
        EXPECT_EQ(TakeCalls(), (Texts{SignCall("ES", reference == 1 ? data : given)}));
    }
}

TEST_F(SignTest, WrongHashLengthFailsWithoutACallOfTheCard)
{
    const std::vector<uint32_t> references{2, 3, 4};
    const CK_SESSION_HANDLE session = StartLoggedIn(CardWithOrdinaryKeys(references), ordinarySlot);
    CK_OBJECT_HANDLE key = firstPrivateKey;
    for (const uint32_t reference : references) {
        for (const size_t length : {0U, 1U, 20U, 28U, 31U, 32U, 33U, 47U, 48U, 49U, 63U, 64U, 65U}) {
            if (length != HashLengthOf(reference)) {
                EXPECT_EQ(InitAndSign(session, DigestInfo(Counting(length)), key),
                          Failed(CKR_FUNCTION_FAILED))
                    << "reference " << reference << ", length " << length;
            }
        }
        ++key;
    }
    EXPECT_EQ(TakeCalls(), Texts{});
}

TEST_F(SignTest, OtherReferencesTakeAHashOfAnyLength)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CardWithOrdinaryKeys({5, 6, 7}), ordinarySlot);
    for (CK_OBJECT_HANDLE key = firstPrivateKey; key < firstPrivateKey + 3; ++key) {
        for (const size_t length : {0U, 1U, 20U, 32U, 100U, 300U}) {
            EXPECT_EQ(InitAndSign(session, DigestInfo(Counting(length)), key), SignedByDefault());
            EXPECT_EQ(TakeCalls(), Texts{SignCall("ES", Counting(length))});
        }
    }
}

TEST_F(SignTest, ReferenceOneTakesAnyBytesAsTheyStand)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CardWithOrdinaryKeys({1}), ordinarySlot);
    for (const Bytes& data : {TextBytes("no DER at all"), Bytes{0}, Counting(500), Bytes{0x30, 0x82}}) {
        EXPECT_EQ(InitAndSign(session, data), SignedByDefault());
        EXPECT_EQ(TakeCalls(), Texts{SignCall("ES", data)});
    }
}

TEST_F(SignTest, NullDataOfNoLengthIsNoBytes)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CardWithOrdinaryKeys({1, 2}), ordinarySlot);
    Bytes room(signatureRoom);
    CK_ULONG length = untouchedLength;
    ASSERT_EQ(SignInit(session), CKR_OK);
    EXPECT_EQ(f->C_Sign(session, nullptr, 0, room.data(), &length), CKR_OK);
    EXPECT_EQ(TakeCalls(), Texts{SignCall("ES", {})});
    ASSERT_EQ(SignInit(session, firstPrivateKey + 1), CKR_OK);
    EXPECT_EQ(f->C_Sign(session, nullptr, 0, room.data(), &length), CKR_FUNCTION_FAILED);
    EXPECT_EQ(TakeCalls(), Texts{});
}

TEST_F(SignTest, SigningOtherThanADigestInfoFailsAndLogsSeven)
{
    const Bytes octets = Der(0x04, Counting(32));
    const std::vector<Bytes> all{
        {},                                                     // nothing
        TextBytes("this is no DER"),                            // garbage
        {0x30},                                                 // no length
        {0x30, 0x22, 0x04, 0x20, 0x01},                         // cut
        {0x30, 0x82, 0xFF},                                     // cut within the length
        {0x1F, 0x81, 0x81, 0x81, 0x81, 0x81, 0x81, 0x01, 0x00}, // a tag without an end that fits
        octets,                                                 // a primitive root
        {0x02, 0x01, 0x05},                                     // another one
        {0x05, 0x00},                                           // one without a content
        {0x30, 0x00},                                           // no child
        Der(0x30, {0x05, 0x00}),                                // no OCTET STRING
        Der(0x30, Der(0x30, octets)),                           // only a nested one
        Der(0x30, Der(0x24, octets)),                           // a constructed one
        Der(0x30, Der(0x84, Counting(32))),                     // the number in another class
        Der(0x30, Bytes{0x04, 0x20, 0x01}),                     // a child that is cut
    };
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CardWithOrdinaryKeys({5}), ordinarySlot);
    for (const Bytes& data : all) {
        ASSERT_EQ(SignInit(session), CKR_OK);
        log.Forget();
        EXPECT_EQ(Sign(session, data), Failed(CKR_FUNCTION_FAILED)) << UpperHex(data);
        EXPECT_EQ(log.Take(), Framed("C_Sign",
                                     Texts{"DBG C_Sign: SignManager going to sign data",
                                           LeavingLine("SignManager::Sign", "7 CKR_ARGUMENTS_BAD")} +
                                         EndOfSignLines(),
                                     "6 CKR_FUNCTION_FAILED"))
            << UpperHex(data);
        ExpectIdle(session);
    }
    EXPECT_EQ(TakeCalls(), Texts{});
}

TEST_F(SignTest, SigningAHashOfWrongLengthLogsSeven)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CardWithOrdinaryKeys({2}), ordinarySlot);
    ASSERT_EQ(SignInit(session), CKR_OK);
    log.Forget();
    EXPECT_EQ(Sign(session, DigestInfo(Counting(20))), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(log.Take(), Framed("C_Sign",
                                 Texts{"DBG C_Sign: SignManager going to sign data",
                                       LeavingLine("SignManager::Sign", "7 CKR_ARGUMENTS_BAD")} +
                                     EndOfSignLines(),
                                 "6 CKR_FUNCTION_FAILED"));
    ExpectIdle(session);
}

TEST_F(SignTest, DigestInfoIsReadForItsFirstDirectOctetStringOnly)
{
    const Bytes octets = Der(0x04, hash);
    const Bytes algorithm = Der(0x30, Concatenated({{0x06, 0x01, 0x2A}, Der(0x04, Counting(5, 99))}));
    const std::vector<Bytes> all{
        digestInfo + Bytes{0xFF, 0xFF, 0xFF},                          // trailing data
        digestInfo + DigestInfo(Counting(32, 77)),                     // trailing DER
        Der(0x30, octets),                                             // no algorithm
        Der(0x30, algorithm + octets),                                 // an OCTET STRING inside the algorithm
        Der(0x30, Concatenated({octets, Der(0x04, Counting(9))})),     // a second one
        Der(0x31, algorithm + octets),                                 // in a SET
        Der(0xA0, octets),                                             // in a context tag
        Der(0x30, Concatenated({{0x05, 0x00}, octets, {0x05, 0x00}})), // among others
    };
    const CK_SESSION_HANDLE session = StartLoggedIn(CardWithOrdinaryKeys({2}), ordinarySlot);
    for (const Bytes& data : all) {
        EXPECT_EQ(InitAndSign(session, data), SignedByDefault()) << UpperHex(data);
        EXPECT_EQ(TakeCalls(), Texts{SignCall("ES", hash)}) << UpperHex(data);
    }
}

TEST_F(SignTest, BothMechanismsBehaveAlikeAndHashNothing)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CardWithOrdinaryKeys({1, 2}), ordinarySlot);
    for (const CK_MECHANISM_TYPE mechanism : {CKM_RSA_PKCS, CKM_SHA256_RSA_PKCS}) {
        ASSERT_EQ(SignInit(session, firstPrivateKey, mechanism), CKR_OK);
        EXPECT_EQ(Sign(session, TextBytes("plain")), SignedByDefault());
        EXPECT_EQ(TakeCalls(), Texts{SignCall("ES", TextBytes("plain"))});
        ASSERT_EQ(SignInit(session, firstPrivateKey + 1, mechanism), CKR_OK);
        EXPECT_EQ(Sign(session, digestInfo), SignedByDefault());
        EXPECT_EQ(TakeCalls(), Texts{SignCall("ES", hash)});
        ASSERT_EQ(SignInit(session, firstPrivateKey + 1, mechanism), CKR_OK);
        EXPECT_EQ(Sign(session, TextBytes("plain")), Failed(CKR_FUNCTION_FAILED));
        EXPECT_EQ(TakeCalls(), Texts{});
    }
}

TEST_F(SignTest, EveryOtherMechanismIsRefused)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    for (const CK_MECHANISM_TYPE mechanism :
         {0U, 2U, 3U, 6U, 9U, 0xDU, 0x41U, 0x42U, 0x46U, 0x220U, 0x250U, 0x1041U, 0x80000001U, 0xFFFFFFFFU}) {
        EXPECT_EQ(SignInit(session, firstPrivateKey, mechanism), CKR_MECHANISM_INVALID) << mechanism;
        ExpectIdle(session);
    }
    EXPECT_EQ(SignInit(session), CKR_OK) << "a good one can follow at once";
}

TEST_F(SignTest, ParameterOfTheMechanismIsNotRead)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    CK_MECHANISM record{CKM_RSA_PKCS, nullptr, 0xFFFFFFFF};
    EXPECT_EQ(f->C_SignInit(session, &record, firstPrivateKey), CKR_OK);
}

TEST_F(SignTest, OnlyAKeyWithCkaSignIsTaken)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(SignInit(session, firstCertificate), CKR_KEY_FUNCTION_NOT_PERMITTED);
    ExpectIdle(session);
    EXPECT_EQ(SignInit(session, CreatePublicKey(session)), CKR_KEY_FUNCTION_NOT_PERMITTED);
    ExpectIdle(session);
    EXPECT_EQ(SignInit(session, firstCertificate, 99), CKR_MECHANISM_INVALID)
        << "the mechanism is looked at first";
    EXPECT_EQ(SignInit(session), CKR_OK);
}

TEST_F(SignTest, SlotOfTheSessionDecidesAndNotThatOfTheKey)
{
    const CK_SESSION_HANDLE qualified = StartLoggedIn(CertifiedCard());
    const CK_SESSION_HANDLE ordinary = OpenSession(ordinarySlot);
    const CK_OBJECT_HANDLE ordinaryKey = firstPrivateKey + 1; // reference 1
    EXPECT_EQ(InitAndSign(qualified, TextBytes("any"), ordinaryKey), SignedByDefault());
    EXPECT_EQ(TakeCalls(), (Texts{openKeyboard, SignCall("QES", TextBytes("any"))}));
    EXPECT_EQ(InitAndSign(ordinary, digestInfo, firstPrivateKey), SignedByDefault());
    EXPECT_EQ(TakeCalls(), Texts{SignCall("ES", hash)});
}

TEST_F(SignTest, CardOfTheSessionSignsAlsoWithAKeyOfAnotherCard)
{
    InitializeWithTwoCards(CertifiedCard());
    LoginUser(OpenSession(ordinarySlot));
    const CK_SESSION_HANDLE session = OpenSession(4);
    script->ForgetCalls();
    EXPECT_EQ(InitAndSign(session, Counting(3), firstPrivateKey + 1), SignedByDefault());
    EXPECT_EQ(TakeCalls(), Texts{"ES_SignData(102, 010203, 128, 0)"});
}

TEST_F(SignTest, SignatureIsWrittenAsTheCardGaveIt)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard(), ordinarySlot);
    const CK_OBJECT_HANDLE key = firstPrivateKey + 1;
    for (const size_t length : {128U, 127U, 64U, 1U, 0U}) {
        script->Next("ES_SignData", {.output = Counting(length, 3)});
        EXPECT_EQ(InitAndSign(session, Counting(5), key), Signed(Counting(length, 3)));
    }
}

TEST_F(SignTest, LengthOfTheCallersBufferIsNeverRead)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard(), ordinarySlot);
    for (const CK_ULONG announced : {0U, 1U, 127U, 0xFFFFFFFFU}) {
        ASSERT_EQ(SignInit(session, firstPrivateKey + 1), CKR_OK);
        Bytes data = Counting(5);
        Bytes exact(128);
        CK_ULONG length = announced;
        EXPECT_EQ(f->C_Sign(session, data.data(), 5, exact.data(), &length), CKR_OK);
        EXPECT_EQ(length, 128U);
        EXPECT_EQ(exact, Bytes(128, defaultSignatureByte));
    }
}

TEST_F(SignTest, BufferOfTheCardIsAsLongAsTheBitsSay)
{
    Card card = CardWithOrdinaryKeys({1, 1, 1, 1});
    card.es[0].key.modulusBits = 2048;
    card.es[1].key.modulusBits = 4096;
    card.es[2].key.modulusBits = 1031;
    card.es[3].key.modulusBits = 0;
    const CK_SESSION_HANDLE session = StartLoggedIn(std::move(card), ordinarySlot);
    CK_OBJECT_HANDLE key = firstPrivateKey;
    for (const size_t capacity : {256U, 512U, 128U, 0U}) {
        EXPECT_EQ(InitAndSign(session, Counting(5), key++), SignedByDefault(capacity));
        EXPECT_EQ(TakeCalls(), Texts{SignCall("ES", Counting(5), capacity)});
    }
}

TEST_F(SignTest, LengthQueryAnswersTheWholeBytesOfTheModulus)
{
    Card card = CardWithQualifiedKeys({1, 1, 1, 1});
    card.qes[0].key.modulusBits = 2048;
    card.qes[1].key.modulusBits = 4096;
    card.qes[2].key.modulusBits = 2047;
    card.qes[3].key.modulusBits = 0; // as for a key whose bits cannot be read
    const CK_SESSION_HANDLE session = StartLoggedIn(std::move(card));
    const std::vector<CK_ULONG> lengths{256, 512, 255, 0};
    for (size_t index = 0; index < lengths.size(); ++index) {
        const CK_SESSION_HANDLE own = OpenSession(qualifiedSlot);
        ASSERT_EQ(SignInit(own, firstPrivateKey + static_cast<CK_OBJECT_HANDLE>(index)), CKR_OK);
        for (int times = 0; times < 2; ++times) {
            CK_ULONG length = 0;
            EXPECT_EQ(AskLength(own, length), CKR_OK);
            EXPECT_EQ(length, lengths[index]);
        }
        ExpectActive(own);
    }
    EXPECT_EQ(f->C_CloseSession(session), CKR_OK);
    EXPECT_EQ(TakeCalls(), Texts{}) << "no card call";
}

TEST_F(SignTest, RefusalByTheCardWritesNoSignature)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard(), ordinarySlot);
    for (const CardStatus status : {1, 15, 17, 18, 83, -1}) {
        script->Next("ES_SignData", {.status = status, .outputs = scripted::Outputs::Always});
        EXPECT_EQ(InitAndSign(session, Counting(5), firstPrivateKey + 1), Failed(CKR_FUNCTION_FAILED));
        ExpectIdle(session);
    }
}

TEST_F(SignTest, LinesOfAnOrdinarySignatureHaveNoData)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard(), ordinarySlot);
    ASSERT_EQ(SignInit(session, firstPrivateKey + 1), CKR_OK);
    log.Forget();
    EXPECT_EQ(Sign(session, Counting(5)), SignedByDefault());
    EXPECT_EQ(log.Take(), Framed("C_Sign", OrdinarySignLines() + EndOfSignLines(), "0 CKR_OK"));
}

TEST_F(SignTest, LinesOfAQualifiedSignatureHaveWhatTheCardWasGiven)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    GivePin(session);
    ASSERT_EQ(SignInit(session), CKR_OK);
    log.Forget();
    EXPECT_EQ(Sign(session, digestInfo), SignedByDefault());
    EXPECT_EQ(log.Take(), Framed("C_Sign",
                                 Texts{"DBG C_Sign: SignManager isLogged is set to true"} +
                                     QualifiedSignLines(hash) + EndOfSignLines(),
                                 "0 CKR_OK"));
}

TEST_F(SignTest, RefusalByTheCardIsLoggedBehindTheReportOfTheSigning)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard(), ordinarySlot);
    ASSERT_EQ(SignInit(session, firstPrivateKey + 1), CKR_OK);
    script->Next("ES_SignData", {.status = anyOtherStatus});
    log.Forget();
    EXPECT_EQ(Sign(session, Counting(5)), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(log.Take(),
              Framed("C_Sign",
                     OrdinarySignLines() + Texts{LeavingLine("SignManager::Sign", "6 CKR_FUNCTION_FAILED")} +
                         EndOfSignLines(),
                     "6 CKR_FUNCTION_FAILED"));
}

TEST_F(SignTest, BelowTheDebugLevelOnlyFailuresAreLogged)
{
    LogCapture log(script, {.fromLevel = 2});
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    log.Forget();
    EXPECT_EQ(InitAndSign(session, digestInfo), SignedByDefault());
    EXPECT_EQ(log.Take(), Texts{});
    EXPECT_EQ(InitAndSign(session, TextBytes("garbage")), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(log.Take(), (Texts{LeavingLine("SignManager::Sign", "7 CKR_ARGUMENTS_BAD"),
                                 LeavingLine("C_Sign", "6 CKR_FUNCTION_FAILED")}));
}

} // namespace
} // namespace blackbox
