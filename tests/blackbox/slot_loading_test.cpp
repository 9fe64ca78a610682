// How readers and cards become slots, and certificates become objects.
#include "src/botan/big_int_bytes.h"
#include "tests/support/black_box_test.h"
#include "tests/support/log_capture.h"
#include "tests/support/test_certificates.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace blackbox {
namespace {

class SlotLoadingTest : public BlackBoxTest
{
protected:
    std::string DescriptionOf(CK_SLOT_ID slot) { return FieldText(InfoOf(slot).slotDescription); }

    CK_SLOT_INFO InfoOf(CK_SLOT_ID slot)
    {
        CK_SLOT_INFO info;
        std::memset(&info, 0xEE, sizeof info);
        EXPECT_EQ(f->C_GetSlotInfo(slot, &info), CKR_OK);
        return info;
    }

    // The calls of a start from the reader list to the first wait.
    Texts LoadingCalls()
    {
        EXPECT_EQ(f->C_Initialize(nullptr), CKR_OK);
        const Texts calls = TakeCalls();
        return {calls.begin() + 3, calls.end()};
    }

    std::string IdOf(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object)
    {
        std::array<char, 64> id{};
        CK_ATTRIBUTE attribute{CKA_ID, nullptr, 0};
        EXPECT_EQ(f->C_GetAttributeValue(session, object, &attribute, 1), CKR_OK);
        attribute.pValue = id.data();
        EXPECT_EQ(f->C_GetAttributeValue(session, object, &attribute, 1), CKR_OK);
        return {id.data(), attribute.ulValueLen};
    }

    static scripted::CertifiedKey Unparsable()
    {
        return {Bytes{0x30, 0x03, 0x02, 0x01, 0x05}, TestKeyInfo(0, 2)};
    }
};

TEST_F(SlotLoadingTest, ReadersAreWalkedInOrderAndCardsAddedWithTheirOwnTransaction)
{
    script->AddReader(readerA, Card{});
    script->AddReader(readerB, Card{});
    EXPECT_EQ(LoadingCalls(),
              (Texts{"GetReaderList(1023)", "OpenSession(Reader A)"} + AddingACard(101) +
               Texts{"OpenSession(Reader B)"} + AddingACard(102) + Texts{"WaitForReaderEvent(0)"}));
    for (const scripted::CardCall& call : script->CallsOf("OpenSession")) {
        EXPECT_TRUE(call.outputsClear) << "the session variable begins as 0";
    }
}

TEST_F(SlotLoadingTest, TokenRecordsAreClearWhenTheCardFillsThem)
{
    script->AddReader(readerA, Card{});
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
    for (const scripted::CardCall& call : script->CallsOf("GetTokenInfo")) {
        EXPECT_TRUE(call.outputsClear);
        EXPECT_EQ(call.capacity, 127U);
    }
}

TEST_F(SlotLoadingTest, ReaderWithoutACardIsPassedOver)
{
    script->AddReader(readerA);
    script->AddReader(readerB, Card{});
    EXPECT_EQ(LoadingCalls(),
              (Texts{"GetReaderList(1023)", "OpenSession(Reader A)", "OpenSession(Reader B)"} +
               AddingACard(101) + Texts{"WaitForReaderEvent(0)"}));
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{1, 2}));
    EXPECT_EQ(DescriptionOf(1), Padded("Reader B; Sig_ZEP", 64));
}

TEST_F(SlotLoadingTest, OnlyTheSessionTellsWhetherACardWasOpened)
{
    script->AddReader(readerA, Card{});
    script->AddReader(readerB, Card{});
    script->Next("OpenSession", {.status = anyOtherStatus, .outputs = scripted::Outputs::Always});
    script->Next("OpenSession", {.status = 0, .outputs = scripted::Outputs::Never});
    Initialize();
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{1, 2}));
    EXPECT_EQ(DescriptionOf(2), Padded("Reader A; Sig_EP", 64));
}

TEST_F(SlotLoadingTest, EverySlotPairIsTheQualifiedKeyAndThenTheOrdinaryOne)
{
    InitializeWithTwoCards();
    const std::array<std::string, 4> labels{"Sig_ZEP", "Sig_EP", "Sig_ZEP", "Sig_EP"};
    for (CK_SLOT_ID slot = 1; slot <= 4; ++slot) {
        CK_TOKEN_INFO info{};
        ASSERT_EQ(f->C_GetTokenInfo(slot, &info), CKR_OK);
        EXPECT_EQ(FieldText(info.label), Padded(labels.at(slot - 1), 32));
    }
}

TEST_F(SlotLoadingTest, FailedReaderListGivesNoSlotsAndNoError)
{
    script->AddReader(readerA, Card{});
    script->ForceReaderList(u"", -1);
    EXPECT_EQ(LoadingCalls(), (Texts{"GetReaderList(1023)", "WaitForReaderEvent(0)"}));
    EXPECT_EQ(Slots(), std::vector<CK_SLOT_ID>{});
}

TEST_F(SlotLoadingTest, ReaderListOfCountZeroStillTriesItsFirstName)
{
    script->AddReader(readerA, Card{});
    script->ForceReaderList(std::u16string(u"Reader A\0", 9), 0);
    EXPECT_EQ(LoadingCalls(), (Texts{"GetReaderList(1023)", "OpenSession(Reader A)"} + AddingACard(101) +
                               Texts{"WaitForReaderEvent(0)"}));
}

TEST_F(SlotLoadingTest, EmptyReaderListTriesTheEmptyName)
{
    EXPECT_EQ(LoadingCalls(), (Texts{"GetReaderList(1023)", "OpenSession()", "WaitForReaderEvent(0)"}));
}

TEST_F(SlotLoadingTest, CountOfTheReaderListEndsTheWalk)
{
    script->AddReader(readerA, Card{});
    script->AddReader(readerB, Card{});
    script->ForceReaderList(std::u16string(u"Reader A\0Reader B\0", 18), 9);
    EXPECT_EQ(LoadingCalls(), (Texts{"GetReaderList(1023)", "OpenSession(Reader A)"} + AddingACard(101) +
                               Texts{"WaitForReaderEvent(0)"}));
}

TEST_F(SlotLoadingTest, OneCharacterLeftIsNoFurtherReader)
{
    script->ForceReaderList(std::u16string(u"Reader A\0\0", 10), 10);
    EXPECT_EQ(LoadingCalls(),
              (Texts{"GetReaderList(1023)", "OpenSession(Reader A)", "WaitForReaderEvent(0)"}));
}

TEST_F(SlotLoadingTest, TwoCharactersLeftAreAFurtherReader)
{
    script->ForceReaderList(std::u16string(u"Reader A\0B\0", 11), 11);
    EXPECT_EQ(LoadingCalls(), (Texts{"GetReaderList(1023)", "OpenSession(Reader A)", "OpenSession(B)",
                                     "WaitForReaderEvent(0)"}));
}

TEST_F(SlotLoadingTest, CountInsideANameEndsTheWalkBehindIt)
{
    script->ForceReaderList(std::u16string(u"Reader A\0Reader B\0Reader C\0", 27), 12);
    EXPECT_EQ(LoadingCalls(), (Texts{"GetReaderList(1023)", "OpenSession(Reader A)", "OpenSession(Reader B)",
                                     "WaitForReaderEvent(0)"}));
}

TEST_F(SlotLoadingTest, LongReaderNamesCutTheLabelPartlyOrWholly)
{
    const std::u16string fits(55, u'n'); // and the two of the separator, and all of "Sig_ZEP"
    const std::u16string cuts(58, u'n');
    const std::u16string covers(80, u'n');
    script->AddReader(fits, Card{});
    script->AddReader(cuts, Card{});
    script->AddReader(covers, Card{});
    Initialize();
    EXPECT_EQ(DescriptionOf(1), std::string(55, 'n') + "; Sig_ZEP");
    EXPECT_EQ(DescriptionOf(2), std::string(55, 'n') + "; Sig_EP ");
    EXPECT_EQ(DescriptionOf(3), std::string(58, 'n') + "; Sig_");
    EXPECT_EQ(DescriptionOf(5), std::string(64, 'n'));
}

TEST_F(SlotLoadingTest, ReaderNamesAreNarrowedToTheirLowBytesButOpenedAsTheyAre)
{
    script->AddReader(u"\u010cte\u010dka \u0141", Card{});
    EXPECT_EQ(LoadingCalls()[1], "OpenSession(\\u010Cte\\u010Dka \\u0141)");
    EXPECT_EQ(DescriptionOf(1), Padded("\x0Cte\x0Dka A; Sig_ZEP", 64));
}

TEST_F(SlotLoadingTest, FailedTokenInfoLeavesManufacturerAndVersionsZero)
{
    script->Always("GetTokenInfo", {.status = anyOtherStatus, .outputs = scripted::Outputs::Always});
    InitializeWithCard();
    const CK_SLOT_INFO info = InfoOf(1);
    EXPECT_EQ(FieldText(info.manufacturerID), std::string(32, '\0'));
    EXPECT_EQ(info.hardwareVersion.major, 0);
    EXPECT_EQ(info.firmwareVersion.minor, 0);
    const CK_FLAGS flags = info.flags;
    EXPECT_EQ(flags, CKF_TOKEN_PRESENT | CKF_REMOVABLE_DEVICE | CKF_HW_SLOT);
    EXPECT_EQ(FieldText(info.slotDescription), Padded("Reader A; Sig_ZEP", 64));
}

TEST_F(SlotLoadingTest, FailedSessionFlagsLeaveTheFlagsZero)
{
    script->Next("GetSessionFlags", {.status = anyOtherStatus, .outputs = scripted::Outputs::Always});
    InitializeWithCard();
    const CK_FLAGS first = InfoOf(1).flags;
    const CK_FLAGS second = InfoOf(2).flags;
    EXPECT_EQ(first, 0U);
    EXPECT_EQ(second, CKF_TOKEN_PRESENT | CKF_REMOVABLE_DEVICE | CKF_HW_SLOT) << "each slot asks for itself";
}

TEST_F(SlotLoadingTest, SessionFlagsWithoutTheCardBitGiveNoTokenPresent)
{
    Card card;
    card.flags = ~cardPresentFlag;
    InitializeWithCard(card);
    const CK_FLAGS flags = InfoOf(1).flags;
    EXPECT_EQ(flags, CKF_REMOVABLE_DEVICE | CKF_HW_SLOT);
}

TEST_F(SlotLoadingTest, ManufacturerOfFullWidthIsCut)
{
    Card card;
    card.manufacturer = std::string(32, 'm');
    InitializeWithCard(card);
    EXPECT_EQ(FieldText(InfoOf(1).manufacturerID), std::string(32, 'm'));
}

TEST_F(SlotLoadingTest, TransactionOfTheLoadingIsNotTheOneOfTheSessions)
{
    script->Next("StartTransaction", {.status = anyOtherStatus});
    InitializeWithCard();
    OpenSession(1);
    EXPECT_EQ(script->Calls(), Texts{"StartTransaction(101)"});
}

TEST_F(SlotLoadingTest, EachSlotGetsTheObjectsOfItsKeyFamily)
{
    Card card = CertifiedCard();
    card.es.push_back(TestCertifiedKey(2, 1, "Second ordinary"));
    InitializeWithCard(card);
    const CK_SESSION_HANDLE qualified = OpenSession(1);
    const CK_SESSION_HANDLE ordinary = OpenSession(2);
    LoginUser(qualified);
    EXPECT_EQ(FindAll(qualified), (std::vector<CK_OBJECT_HANDLE>{0x70000001, 0x30000001}));
    EXPECT_EQ(FindAll(ordinary),
              (std::vector<CK_OBJECT_HANDLE>{0x70000002, 0x70000003, 0x30000002, 0x30000003}));
}

TEST_F(SlotLoadingTest, CertificateArraysAreClearWhenTheCardFillsThem)
{
    InitializeWithCard(CertifiedCard());
    LoginUser(OpenSession(1));
    EXPECT_TRUE(script->CallsOf("QES_GetCertificates").front().outputsClear);
    EXPECT_TRUE(script->CallsOf("ES_GetCertificates").front().outputsClear);
}

TEST_F(SlotLoadingTest, CertificateThatDoesNotParseIsLeftOutAndTheNextMovesUp)
{
    Card card;
    card.qes = {TestCertifiedKey(0, 2, "First"), Unparsable(), TestCertifiedKey(2, 2, "Third")};
    Card whole;
    whole.qes = {TestCertifiedKey(0, 2, "First"), TestCertifiedKey(2, 2, "Third")};
    InitializeWithTwoCards(card, whole);
    const CK_SESSION_HANDLE session = OpenSession(1);
    const CK_SESSION_HANDLE onWhole = OpenSession(3);
    LoginUser(session);
    LoginUser(onWhole);
    const std::vector<CK_OBJECT_HANDLE> objects = FindAll(session);
    EXPECT_EQ(objects, (std::vector<CK_OBJECT_HANDLE>{0x70000001, 0x70000002, 0x30000001, 0x30000002}));
    const std::vector<CK_OBJECT_HANDLE> wholeObjects = FindAll(onWhole);
    ASSERT_EQ(wholeObjects.size(), objects.size());
    // The numbers in the ids are those of a card with two certificates.
    for (size_t index = 0; index < objects.size(); ++index) {
        EXPECT_EQ(IdOf(session, objects[index]).back(), IdOf(onWhole, wholeObjects[index]).back());
    }
    std::array<CK_BYTE, 128> modulus{};
    CK_ATTRIBUTE attribute{CKA_MODULUS, modulus.data(), 128};
    ASSERT_EQ(f->C_GetAttributeValue(session, objects.back(), &attribute, 1), CKR_OK);
    EXPECT_EQ(Bytes(modulus.begin(), modulus.end()), BigIntBytes(TestKey(2).get_n()))
        << "the key of the third certificate";
}

TEST_F(SlotLoadingTest, EightCertificatesAreTaken)
{
    Card card;
    for (unsigned index = 0; index < maxCertificates; ++index) {
        card.es.push_back(TestCertifiedKey(index % 3, 1, "Number " + std::to_string(index)));
    }
    InitializeWithCard(card);
    const CK_SESSION_HANDLE session = OpenSession(2);
    LoginUser(session);
    EXPECT_EQ(FindAll(session).size(), 16U);
}

TEST_F(SlotLoadingTest, CertificateCallThatFailsOnceGivesObjectsAtTheNextLogin)
{
    InitializeWithCard(CertifiedCard());
    const CK_SESSION_HANDLE session = OpenSession(1);
    script->Next("QES_GetCertificates", {.status = anyOtherStatus, .outputs = scripted::Outputs::Always});
    LoginUser(session);
    EXPECT_EQ(FindAll(session), std::vector<CK_OBJECT_HANDLE>{});
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    script->ForgetCalls();
    LoginUser(session);
    EXPECT_EQ(script->Calls(),
              (Texts{"StartTransaction(101)", "Passwords_VerifyBOK(101, \"123456\", null, 0, 0, 0)",
                     "QES_GetCertificates(101)"}))
        << "only the slot without objects is tried again";
    EXPECT_EQ(FindAll(session).size(), 2U);
}

TEST_F(SlotLoadingTest, SlotWithoutCertificatesIsTriedAgainAtEachLogin)
{
    InitializeWithCard();
    const CK_SESSION_HANDLE session = OpenSession(1);
    for (int login = 0; login < 2; ++login) {
        script->ForgetCalls();
        LoginUser(session);
        EXPECT_EQ(script->CallsOf("QES_GetCertificates").size(), 1U);
        EXPECT_EQ(script->CallsOf("ES_GetCertificates").size(), 1U);
        EXPECT_EQ(FindAll(session), std::vector<CK_OBJECT_HANDLE>{});
        ASSERT_EQ(f->C_Logout(session), CKR_OK);
    }
}

TEST_F(SlotLoadingTest, ReportedCountOfZeroGivesNoObjectsWhateverTheArraysHold)
{
    InitializeWithCard(CertifiedCard());
    const CK_SESSION_HANDLE session = OpenSession(1);
    script->Next("QES_GetCertificates", {.count = 0});
    LoginUser(session);
    EXPECT_EQ(FindAll(session), std::vector<CK_OBJECT_HANDLE>{});
}

TEST_F(SlotLoadingTest, LogoutWithTwoSessionsOpenLetsTheNextSessionStartATransactionWithoutANote)
{
    LogCapture log(script);
    InitializeWithCard();
    const CK_SESSION_HANDLE session = OpenSession(1);
    OpenSession(1);
    LoginUser(session);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    script->ForgetCalls();
    log.Forget();
    OpenSession(1);
    EXPECT_EQ(script->Calls(), Texts{"StartTransaction(101)"});
    EXPECT_EQ(log.Raw().find("already active"), std::string::npos);
}

TEST_F(SlotLoadingTest, LoadingLogsEachCardAndPassesOverEmptyReadersSilently)
{
    LogCapture log(script);
    script->AddReader(readerA);
    script->AddReader(readerB, Card{});
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
    const Texts lines = log.Take();
    const auto begin = std::find(lines.begin(), lines.end(), "DBG LoadSlotList: LoadSlotList call start");
    ASSERT_GT(lines.end() - begin, 5);
    EXPECT_EQ(
        Texts(begin, begin + 6),
        (Texts{"DBG LoadSlotList: LoadSlotList call start", "DBG LoadSlotList: CardAPI session is null",
               "DBG InternalCache::AddCardToken: New card token added in reader: Reader B",
               "DBG InternalCache::AddSlot: New slot added", "DBG InternalCache::AddSlot: New slot added",
               "DBG LoadSlotList: LoadSlotList call end"}));
}

TEST_F(SlotLoadingTest, ObjectMakingLogsEachCertificate)
{
    LogCapture log(script);
    Card card;
    card.qes = {Unparsable(), TestCertifiedKey(0, 2, "Qualified")};
    InitializeWithCard(card);
    const CK_SESSION_HANDLE session = OpenSession(1);
    log.Forget();
    LoginUser(session);
    const Texts lines = log.TakeOf("CreateSlotObjects");
    EXPECT_EQ(lines, (Texts{"DBG CreateSlotObjects: CardAPI_QES_GetCertificates call end",
                            "DBG CreateSlotObjects: Going to parse X509 certificate",
                            "DBG CreateSlotObjects: Certificate data going to parse",
                            "ERR CreateSlotObjects: Parsing certificate number: 0 for Sig_ZEP slot failed",
                            "DBG CreateSlotObjects: Going to parse X509 certificate",
                            "DBG CreateSlotObjects: Certificate data going to parse",
                            "DBG CreateSlotObjects: X509 certificate parsed",
                            "DBG CreateSlotObjects: Creating slot objects end",
                            "DBG CreateSlotObjects: CardAPI_QES_GetCertificates call end",
                            "DBG CreateSlotObjects: Creating slot objects end"}))
        << "the same text for both slots";
}

} // namespace
} // namespace blackbox
