// The scripted card-access library itself, called as the library under test would call it.
#include "tests/support/black_box_test.h"
#include "tests/support/log_capture.h"
#include "tests/support/test_certificates.h"

#include <algorithm>
#include <cstdio>

namespace blackbox {
namespace {

class HarnessTest : public ::testing::Test
{
protected:
    template <typename Function>
    static Function* CardFunction(const char* name)
    {
        static_cast<void>(Script());
        void* const cardLibrary = LoadedFrom(ScriptedFolder() / LibraryFileName("CardAPI"));
        return reinterpret_cast<Function*>(SymbolOf(cardLibrary, name));
    }

    ScriptedCard* script = Script();
};

std::vector<uint32_t>& DeliveredEvents()
{
    static std::vector<uint32_t> events;
    return events;
}

void KeepEvent(uint32_t event, const char16_t*, CardSession, const CardStatus*)
{
    DeliveredEvents().push_back(event);
}

TEST_F(HarnessTest, RecordsCallsWithTheirArgumentsAndAnswersAsScripted)
{
    script->AddReader(readerA, Card{});
    script->AddReader(readerB);
    auto* open = CardFunction<decltype(CardAPI_OpenSession)>("CardAPI_OpenSession");
    CardSession session = 0;
    EXPECT_EQ(open(readerA, &session), 0);
    EXPECT_EQ(session, 101U);
    CardSession none = 0;
    EXPECT_NE(open(readerB, &none), 0);
    EXPECT_EQ(none, 0U);

    auto* verify = CardFunction<decltype(CardAPI_Passwords_VerifyBOK)>("CardAPI_Passwords_VerifyBOK");
    script->Next("Passwords_VerifyBOK", {.status = incorrectCode});
    VerifyResult result{};
    EXPECT_EQ(verify(session, "1234", &result, nullptr, 0, 0, 0), incorrectCode);
    EXPECT_EQ(result.verified, 0);
    EXPECT_EQ(verify(session, nullptr, &result, nullptr, 0, 0, 0), 0);
    EXPECT_EQ(result.verified, 1);
    EXPECT_EQ(script->Calls(), (Texts{"OpenSession(Reader A)", "OpenSession(Reader B)",
                                      "Passwords_VerifyBOK(101, \"1234\", null, 0, 0, 0)",
                                      "Passwords_VerifyBOK(101, null, null, 0, 0, 0)"}));
}

TEST_F(HarnessTest, LedgerTellsLostDoubledAndUnknownCloses)
{
    script->AddReader(readerA, Card{});
    auto* open = CardFunction<decltype(CardAPI_OpenSession)>("CardAPI_OpenSession");
    auto* close = CardFunction<decltype(CardAPI_CloseSession)>("CardAPI_CloseSession");
    CardSession first = 0;
    CardSession second = 0;
    open(readerA, &first);
    open(readerA, &second);
    close(first);
    EXPECT_EQ(script->Violations(), Texts{});
    close(first);
    close(999);
    const std::vector<scripted::LedgerEntry> ledger = script->Ledger();
    ASSERT_EQ(ledger.size(), 2U);
    EXPECT_EQ(ledger[0].closes, 2);
    EXPECT_EQ(ledger[1].closes, 0);
    EXPECT_EQ(script->Violations(),
              (Texts{"closed session: CloseSession(101)", "unknown session: CloseSession(999)"}));
}

TEST_F(HarnessTest, EventsAreDeliveredByTheNextWaitInTheirOrder)
{
    auto* wait = CardFunction<decltype(CardAPI_WaitForReaderEvent)>("CardAPI_WaitForReaderEvent");
    script->InsertCard(readerA, Card{});
    script->RemoveCard(readerA);
    EXPECT_FALSE(script->WaitUntilEventsProcessed(std::chrono::milliseconds(1)));
    wait(0, KeepEvent);
    EXPECT_TRUE(script->WaitUntilEventsProcessed());
    EXPECT_EQ(DeliveredEvents(), (std::vector<uint32_t>{cardInsertedEvent, cardRemovedEvent}));
}

TEST_F(HarnessTest, HooksRunInsideTheirCall)
{
    script->AddReader(readerA, Card{});
    const CardSession session = script->MakeSession(readerA);
    int inside = 0;
    script->Next("StartTransaction", {.hook = [&] { inside = script->CallsInside(); }});
    CardFunction<decltype(CardAPI_StartTransaction)>("CardAPI_StartTransaction")(session);
    EXPECT_EQ(inside, 1);
    EXPECT_EQ(script->CallsInside(), 0);
}

TEST_F(HarnessTest, CertificatesComeInStepWithTheirKeys)
{
    Card card;
    card.qes.push_back(TestCertifiedKey(0, 2, "First"));
    script->AddReader(readerA, card);
    const CardSession session = script->MakeSession(readerA);
    std::vector<CardCertificate> certificates(maxCertificates);
    std::vector<CardKeyInfo> keys(maxCertificates);
    uint32_t count = 0;
    EXPECT_EQ(CardFunction<decltype(CardAPI_QES_GetCertificates)>("CardAPI_QES_GetCertificates")(
                  session, certificates.data(), &count, keys.data()),
              0);
    ASSERT_EQ(count, 1U);
    EXPECT_EQ(certificates[0].length, card.qes[0].certificate.size());
    EXPECT_EQ(keys[0].keyReference, 2U);
    EXPECT_EQ(keys[0].modulusLength, 128U);
}

TEST_F(HarnessTest, InitializeSetsTheLogSwitches)
{
    std::vector<uint8_t> logger(64, 9);
    script->SetLogSwitches(scripted::LogSwitches{.fromLevel = 2, .timeFormat = 1});
    CardFunction<decltype(CardAPI_Initialize)>("CardAPI_Initialize")(logger.data());
    EXPECT_EQ(Bytes(logger.begin(), logger.begin() + 8), (Bytes{1, 0, 0, 2, 1, 9, 1, 9}));
}

TEST_F(HarnessTest, CaptureParsesLinesAndLetsOtherTextThrough)
{
    LogCapture log(script);
    const std::string head = "INFO; Thu Nov 12 12:10:02 2026 00000123;      pkcs11_x64; Session opened";
    std::printf("%s\r\n", head.c_str());
    std::printf("%s; ThID: 0x1f3c; VERB: C_OpenSession;  slotID 1\r\n", head.c_str());
    std::printf("%s; ThID: 0x1f3c; VERB: C_OpenSession\r\n", head.c_str());
    std::printf("%s; ThID: 0x1f3c; VERB: C_OpenSession;   behind a blank\r\n", head.c_str());
    const std::vector<LogLine> lines = log.Lines();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[1].module, "     pkcs11_x64");
    EXPECT_EQ(lines[1].thread, "0x1f3c");
    EXPECT_EQ(log.Take(), (Texts{"INFO Session opened", "INFO C_OpenSession: Session opened VERB:slotID 1",
                                 "INFO C_OpenSession: Session opened",
                                 "INFO C_OpenSession: Session opened VERB: behind a blank"}));
    EXPECT_EQ(log.Raw(), "");
}

} // namespace
} // namespace blackbox
