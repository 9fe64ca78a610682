// Every status that the boundary knows, straight through its functions: by ordinary use here and in the other
// tests, by a fault for what a card in good health never answers.
#include "softcard/card/fault.h"
#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/environment.h"
#include "tests/softcard/operations.h"
#include "tests/softcard/reader_events.h"

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

using namespace softcard::test;

namespace {

// The two ranges that have names, and two numbers that have none.
std::vector<CardStatus> AllStatuses()
{
    std::vector<CardStatus> statuses = {-1, 999};
    for (CardStatus status = 0; status <= 30; ++status) {
        statuses.push_back(status);
    }
    for (CardStatus status = 64; status <= 95; ++status) {
        statuses.push_back(status);
    }
    return statuses;
}

class Statuses : public CardTest
{
protected:
    Statuses() { TakeEvents(); }

    [[nodiscard]] std::filesystem::path CardFolder() const { return State() / "cards/ref2"; }

    void OrderStatus(const std::string& operation, CardStatus status) const
    {
        softcard::Fault fault;
        fault.operation = operation;
        fault.status = status;
        softcard::AddFault(CardFolder(), fault);
    }
};

class StatusesOf : public Statuses, public testing::WithParamInterface<const char*>
{
};

TEST_P(StatusesOf, TheFunctionAreAllAnswered)
{
    const std::string name = GetParam();
    const CardSession session = InsertAndOpen("ref2");
    for (const CardStatus status : AllStatuses()) {
        if (name == "GetReaderList" && status <= 0) {
            continue; // it has a count in their place
        }
        OrderStatus(name, status);
        EXPECT_EQ(Operations().at(name)(session), status);
    }
}

INSTANTIATE_TEST_SUITE_P(All, StatusesOf,
                         testing::Values("GetReaderList", "OpenSession", "CloseSession", "StartTransaction",
                                         "StopTransaction", "GetTokenInfo", "GetSessionFlags",
                                         "QES_GetCertificates", "ES_GetCertificates", "QES_GetKeyInfo",
                                         "ES_GetKeyInfo", "QES_SignData", "ES_SignData", "ES_DecryptData",
                                         "Passwords_VerifyBOK", "QES_VerifyPin"));

TEST_F(Statuses, AllComeWithInsertionsAndRemovals)
{
    for (const CardStatus status : AllStatuses()) {
        OrderStatus("WaitForReaderEvent", status);
        Insert("ref2");
        const auto inserted = EventsNow();
        OrderStatus("WaitForReaderEvent", status);
        Remove("ref2");
        const auto removed = EventsNow();
        ASSERT_EQ(inserted.size(), 1U);
        ASSERT_EQ(removed.size(), 1U);
        EXPECT_EQ(inserted[0].status, status);
        EXPECT_EQ(inserted[0].session, 0U);
        EXPECT_EQ(removed[0].status, status);
    }
}

// A verification as the tool is told to have it answer.
struct OrderedVerification
{
    CardStatus returned;
    uint32_t codeState;
    bool verified;
};

TEST_F(Statuses, OfVerificationsComeWithEveryStateOfTheCode)
{
    const CardSession session = InsertAndOpen("ref2");
    std::vector<OrderedVerification> orders = {
        {0, 0, true}, {17, 0, true}, {7, 0, true}, {15, 0, false}, {18, 0, false}};
    for (const CardStatus returned : {0, 17, 7}) {
        for (uint32_t codeState = 0; codeState <= 6; ++codeState) {
            orders.push_back({returned, codeState, false});
        }
    }
    for (const OrderedVerification& order : orders) {
        for (const bool isPin : {false, true}) {
            std::vector<std::string> words = {isPin ? "QES_VerifyPin" : "Passwords_VerifyBOK", "--status",
                                              std::to_string(order.returned), "--code-state",
                                              std::to_string(order.codeState)};
            if (order.verified) {
                words.emplace_back("--verified");
            }
            Order("ref2", words);
            const Verified answered = isPin ? VerifyPin(session, nullptr) : VerifyBok(session, wrongCode);
            EXPECT_EQ(answered.returned, order.returned);
            EXPECT_EQ(answered.result.status, order.codeState);
            EXPECT_EQ(answered.result.verified, order.verified ? 1 : 0);
        }
    }
    EXPECT_EQ(FlagsOf(session), cardPresentFlag) << "a result that only says so opens nothing";
    EXPECT_EQ(VerifyBok(session, wrongCode).result.unread4, 2) << "and no try was spent";
}

TEST_F(Statuses, FlagsCanSayThatNoCardIsPresent)
{
    const CardSession session = InsertAndOpen("ref2");
    OrderStatus("GetSessionFlags", 0);
    EXPECT_EQ(FlagsOf(session), 0U);
    EXPECT_EQ(FlagsOf(session), cardPresentFlag);
}

TEST_F(Statuses, TellThatACardHasNoKeys)
{
    ASSERT_EQ(
        RunTool({"new", "empty", "--qes-certificates", "0", "--es-certificates", "0", "--puk", "1"}).exitCode,
        0);
    const CardSession session = InsertAndOpen("empty");
    for (const bool qualified : {true, false}) {
        std::vector<CardCertificate> certificates(maxCertificates);
        std::vector<CardKeyInfo> keys(maxCertificates);
        uint32_t count = 8;
        const auto getCertificates = qualified ? Library().qesGetCertificates : Library().esGetCertificates;
        EXPECT_EQ(getCertificates(session, certificates.data(), &count, keys.data()), 0);
        EXPECT_EQ(count, 0U);
        const auto getKeyInfo = qualified ? Library().qesGetKeyInfo : Library().esGetKeyInfo;
        EXPECT_EQ(getKeyInfo(session, 0, keys.data(), true), eCertNotLoaded);
        EXPECT_EQ(keys[0].keyReference, 0U);
    }
    EXPECT_EQ(VerifyBok(session, bok).returned, 0);
    EXPECT_EQ(FlagsOf(session), cardPresentFlag | secureMessagingFlag) << "the code alone opens the channel";
    EXPECT_EQ(VerifyPin(session, pin).returned, 0);
    EXPECT_EQ(Operations().at("ES_SignData")(session), eUnknownPrivKey);
    EXPECT_EQ(Operations().at("QES_SignData")(session), eUnknownPrivKey);
    EXPECT_EQ(Operations().at("ES_DecryptData")(session), eUnknownPrivKey);
}

TEST_F(Statuses, TellWhatIsWrongWithACertificate)
{
    const auto ask = [this] {
        const CardSession session = InsertAndOpen("ref2");
        const CardStatus qualified = Operations().at("QES_GetCertificates")(session);
        EXPECT_EQ(Operations().at("ES_GetCertificates")(session), 0) << "the other family is whole";
        Remove("ref2");
        return qualified;
    };
    WriteText(CardFolder() / "qes-1.der", std::string(4097, '0'));
    EXPECT_EQ(ask(), eInsuficientBuffer);
    WriteText(CardFolder() / "qes-1.der", "no certificate");
    EXPECT_EQ(ask(), eInternalError);
}

TEST_F(Statuses, TellThatTheReadersCannotBeRead)
{
    Insert("ref2");
    std::filesystem::rename(State() / "readers", State() / "aside");
    WriteText(State() / "readers", "");
    EXPECT_EQ(Operations().at("GetReaderList")(0), eInternalError);
    CardSession session = 0;
    EXPECT_EQ(Library().openSession(u"Reader 0", &session), eInternalError);
    EXPECT_EQ(session, 0U);
    EXPECT_EQ(Library().waitForReaderEvent(0, Listen), eInternalError);
}

TEST(StatusesAlone, TellThatTheLibraryCouldNotBeInitialized)
{
    const TemporaryHome home;
    const std::filesystem::path file = home.Folder() / "file";
    WriteText(file, "");
    SetVariable("TAVRIK_HOME", file);
    std::u16string buffer(1024, u'\1');
    Library().getAppDataDir(buffer.data(), 1023);
    EXPECT_TRUE(std::filesystem::path(buffer.c_str()).is_absolute());
    Library().getUserDataDir(buffer.data(), 1023);
    EXPECT_TRUE(std::filesystem::path(buffer.c_str()).is_absolute())
        << "never the folder that the host is in";
    Library().initialize(nullptr);
    EXPECT_EQ(Operations().at("GetReaderList")(0), eLibraryNotInitialized);
    EXPECT_EQ(Library().waitForReaderEvent(0, Listen), eLibraryNotInitialized);
    std::filesystem::remove(file);
    Library().initialize(nullptr);
    EXPECT_EQ(Operations().at("GetReaderList")(0), 0);
    Library().finalize();
}

} // namespace
