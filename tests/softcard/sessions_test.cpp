#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"

#include <array>
#include <string>
#include <vector>

using namespace softcard::test;

namespace {

class Sessions : public CardTest
{
};

class ReaderList : public CardTest
{
protected:
    struct Listed
    {
        int32_t used;
        std::u16string text; // as far as it was used
    };

    static Listed List(uint32_t capacity = 1023)
    {
        std::u16string buffer(1024, u'\1');
        const int32_t used = Library().getReaderList(buffer.data(), capacity);
        return {used, buffer.substr(0, used < 0 ? 1 : static_cast<size_t>(used))};
    }
};

using namespace std::string_literals;

TEST_F(ReaderList, WithoutReadersIsOneTerminator)
{
    const Listed listed = List();
    EXPECT_EQ(listed.used, 1);
    EXPECT_EQ(listed.text, u"\0"s);
}

TEST_F(ReaderList, HasEachNameWithItsTerminator)
{
    Insert("ref2", "Second");
    Insert("ref1", "First");
    const Listed listed = List();
    EXPECT_EQ(listed.used, 13);
    EXPECT_EQ(listed.text, u"First\0Second\0"s);
}

TEST_F(ReaderList, KeepsReadersWithoutACard)
{
    Insert("ref2");
    Remove("ref2");
    EXPECT_EQ(List().text, u"Reader 0\0"s);
}

TEST_F(ReaderList, HasNamesOfAllLanguages)
{
    Insert("ref2", "Čítačka \xF0\x9F\x92\xB3");
    EXPECT_EQ(List().text, u"Čítačka \U0001F4B3\0"s);
    EXPECT_NE(Open(u"Čítačka \U0001F4B3"), 0U);
}

TEST_F(ReaderList, HasTheNamesThatFit)
{
    Insert("ref1", "First");
    Insert("ref2", "Second");
    EXPECT_EQ(List(13).text, u"First\0Second\0"s);
    EXPECT_EQ(List(12).text, u"First\0"s);
    EXPECT_EQ(List(5).text, u"\0"s);
    EXPECT_EQ(List(1).text, u"\0"s);
    EXPECT_LT(Library().getReaderList(nullptr, 1023), 0);
}

TEST_F(ReaderList, IsAFailureWithoutTheLibrary)
{
    Library().finalize();
    const Listed listed = List();
    EXPECT_LT(listed.used, 0);
    EXPECT_EQ(listed.text, u"\0"s);
}

TEST_F(Sessions, NeedAReaderWithACard)
{
    CardSession session = 0;
    EXPECT_EQ(Library().openSession(u"Reader 0", &session), eStatusUNKNOWN_READER);
    EXPECT_EQ(Library().openSession(u"", &session), eStatusUNKNOWN_READER);
    EXPECT_EQ(Library().openSession(u"../cards", &session), eStatusUNKNOWN_READER);
    EXPECT_EQ(Library().openSession(u"\xD800", &session), eStatusUNKNOWN_READER);
    EXPECT_EQ(Library().openSession(nullptr, &session), 1);
    Insert("ref2");
    Remove("ref2");
    EXPECT_EQ(Library().openSession(u"Reader 0", &session), eStatusNO_SMARTCARD);
    EXPECT_EQ(session, 0U);
}

TEST_F(Sessions, OfACardThatCannotBeReadAreNotOpened)
{
    Insert("ref2");
    WriteText(State() / "cards/ref2/card.json", "no card");
    CardSession session = 0;
    EXPECT_EQ(Library().openSession(u"Reader 0", &session), 8);
    EXPECT_EQ(session, 0U);
}

TEST_F(Sessions, AreClosedOnce)
{
    const CardSession session = InsertAndOpen("ref2");
    const CardSession other = Open();
    EXPECT_NE(session, other);
    EXPECT_EQ(Library().closeSession(session), 0);
    EXPECT_EQ(Library().closeSession(session), eInvalidSession);
    uint32_t flags = 0;
    EXPECT_EQ(Library().getSessionFlags(session, &flags), eInvalidSession);
    EXPECT_EQ(FlagsOf(other), cardPresentFlag);
}

TEST_F(Sessions, TellAboutTheCard)
{
    const CardSession session = InsertAndOpen("ref2");
    CardTokenInfo info{};
    std::array<char, 128> text{};
    uint32_t capacity = 127;
    ASSERT_EQ(Library().getTokenInfo(session, &info, text.data(), &capacity), 0);
    EXPECT_STREQ(info.manufacturer, "Tavrik");
    EXPECT_STREQ(info.model, "Software card");
    EXPECT_EQ(info.versions[0], 1);
    EXPECT_EQ(info.versions[1], 0);
    EXPECT_EQ(info.versions[2], 1);
    EXPECT_EQ(info.versions[3], 0);
    EXPECT_EQ(capacity, 16U);
    EXPECT_EQ(std::string(text.data()).size(), 16U);
    uint32_t little = 4;
    text.fill('x');
    ASSERT_EQ(Library().getTokenInfo(session, &info, text.data(), &little), 0);
    EXPECT_EQ(std::string(text.data()).size(), 4U);
    EXPECT_EQ(Library().getTokenInfo(session, &info, nullptr, nullptr), 0);
    EXPECT_EQ(Library().getTokenInfo(session, nullptr, nullptr, nullptr), 1);
}

// Every function that needs the card, on a session that cannot give it.
std::vector<CardStatus> UseEverything(CardSession session)
{
    const CardLibrary& library = Library();
    std::vector<CardCertificate> certificates(maxCertificates);
    std::vector<CardKeyInfo> keys(maxCertificates);
    CardTokenInfo info{};
    std::vector<uint8_t> bytes(512);
    uint32_t number = 0;
    uint32_t length = 512;
    return {library.startTransaction(session),
            library.getTokenInfo(session, &info, nullptr, nullptr),
            library.getSessionFlags(session, &number),
            library.qesGetCertificates(session, certificates.data(), &number, keys.data()),
            library.esGetCertificates(session, certificates.data(), &number, keys.data()),
            library.qesGetKeyInfo(session, 0, keys.data(), true),
            library.esGetKeyInfo(session, 0, keys.data(), true),
            library.qesSignData(session, bytes.data(), 32, bytes.data(), &length, 0),
            library.esSignData(session, bytes.data(), 32, bytes.data(), &length, 0),
            library.esDecryptData(session, bytes.data(), 256, bytes.data(), &length, 0),
            VerifyBok(session, bok).returned,
            VerifyBok(session, nullptr).returned,
            VerifyPin(session, pin).returned,
            VerifyPin(session, nullptr).returned};
}

std::vector<CardStatus> AllOf(CardStatus status)
{
    return std::vector<CardStatus>(14, status);
}

TEST_F(Sessions, OfARemovedCardSaySo)
{
    const CardSession session = InsertAndOpen("ref2");
    ASSERT_EQ(VerifyBok(session, bok).returned, 0);
    ASSERT_EQ(VerifyPin(session, pin).returned, 0);
    Remove("ref2");
    EXPECT_EQ(UseEverything(session), AllOf(eStatusREMOVED_CARD));
    Insert("ref2");
    EXPECT_EQ(UseEverything(session), AllOf(eStatusREMOVED_CARD))
        << "a card that came back needs a new session";
    EXPECT_EQ(FlagsOf(Open()), cardPresentFlag) << "and has forgotten the codes";
    EXPECT_EQ(Library().closeSession(session), 0);
}

TEST_F(Sessions, OfAReaderThatVanishedSaySo)
{
    const CardSession session = InsertAndOpen("ref2");
    std::filesystem::remove_all(State() / "readers/Reader 0");
    EXPECT_EQ(UseEverything(session), AllOf(eStatusREMOVED_CARD));
}

TEST_F(Sessions, ThatWereNeverOpenedAreInvalid)
{
    InsertAndOpen("ref2");
    EXPECT_EQ(UseEverything(0), AllOf(eInvalidSession));
    EXPECT_EQ(UseEverything(0xFFFFFFFFFFFFFFFF), AllOf(eInvalidSession));
}

TEST_F(Sessions, NeedTheLibraryInitialized)
{
    const CardSession session = InsertAndOpen("ref2");
    Library().finalize();
    EXPECT_EQ(UseEverything(session), AllOf(eLibraryNotInitialized));
    CardSession another = 0;
    EXPECT_EQ(Library().openSession(u"Reader 0", &another), eLibraryNotInitialized);
    EXPECT_EQ(Library().waitForReaderEvent(0, [](auto, auto, auto, auto) {}), eLibraryNotInitialized);
    EXPECT_EQ(Library().closeSession(session), 0);
}

TEST_F(Sessions, OfTheRunBeforeCanOnlyBeClosed)
{
    const CardSession old = InsertAndOpen("ref2");
    ASSERT_EQ(VerifyBok(old, bok).returned, 0);
    ASSERT_EQ(Library().startTransaction(old), 0);
    Library().finalize();
    Library().initialize(nullptr);
    EXPECT_EQ(UseEverything(old), AllOf(eInvalidSession));
    const CardSession session = Open();
    EXPECT_NE(session, old);
    EXPECT_EQ(Library().startTransaction(session), 0) << "the old transaction is over";
    EXPECT_EQ(FlagsOf(session), cardPresentFlag);
    EXPECT_EQ(Library().closeSession(old), 0);
    EXPECT_EQ(Library().closeSession(old), eInvalidSession);
}

TEST_F(Sessions, HaveOneTransactionOnACard)
{
    const CardSession session = InsertAndOpen("ref2");
    const CardSession other = Open();
    EXPECT_EQ(Library().stopTransaction(session), eStatusNOT_TRANSACTED);
    EXPECT_EQ(Library().startTransaction(session), 0);
    EXPECT_EQ(Library().startTransaction(session), eStatusSHARING_VIOLATION);
    EXPECT_EQ(Library().startTransaction(other), eStatusSHARING_VIOLATION);
    EXPECT_EQ(VerifyBok(other, bok).returned, 0) << "it keeps nobody from using the card";
    EXPECT_EQ(Library().stopTransaction(other), eStatusNOT_TRANSACTED);
    EXPECT_EQ(Library().stopTransaction(session), 0);
    EXPECT_EQ(Library().startTransaction(other), 0);
    EXPECT_EQ(Library().closeSession(other), 0);
    EXPECT_EQ(Library().startTransaction(session), 0) << "closing a session ends its transaction";
}

TEST_F(Sessions, StopATransactionOnARemovedCard)
{
    const CardSession session = InsertAndOpen("ref2");
    EXPECT_EQ(Library().startTransaction(session), 0);
    Remove("ref2");
    EXPECT_EQ(Library().stopTransaction(session), 0);
}

} // namespace
