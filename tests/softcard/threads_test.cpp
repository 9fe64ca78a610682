#include "tests/softcard/card_home.h"
#include "tests/softcard/key_use.h"

#include <atomic>
#include <thread>
#include <vector>

using namespace softcard::test;

namespace {

const std::vector<uint8_t> hash(32, 1);

class Threads : public CardTest
{
};

void Ignore(uint32_t /*code*/, const char16_t* /*reader*/, CardSession /*session*/,
            const CardStatus* /*status*/)
{
}

TEST_F(Threads, ShareASession)
{
    const CardSession session = InsertAndOpen("ref2");
    CardStatus verified = -1;
    std::thread([&] { verified = VerifyBok(session, bok).returned; }).join();
    EXPECT_EQ(verified, 0);
    EXPECT_EQ(FlagsOf(session), cardPresentFlag | secureMessagingFlag);
}

TEST_F(Threads, MayUseEverythingAtOnce)
{
    const CardSession session = InsertAndOpen("ref2");
    ASSERT_EQ(VerifyBok(session, bok).returned, 0);
    std::atomic<bool> running = true;
    std::thread waiting([&] {
        while (running) {
            Library().waitForReaderEvent(5, Ignore);
        }
    });
    std::thread opening([&] {
        while (running) {
            CardSession another = 0;
            Library().openSession(u"Reader 0", &another);
            Library().startTransaction(another);
            Library().closeSession(another);
        }
    });
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(UseKey(Library().esSignData, session, hash, 0, 256).status, 0);
    }
    running = false;
    waiting.join();
    opening.join();
}

TEST_F(Threads, HaveOneSignatureForOnePinAmongThem)
{
    const CardSession session = InsertAndOpen("ref2");
    for (int round = 0; round < 5; ++round) {
        ASSERT_EQ(VerifyPin(session, pin).returned, 0);
        std::atomic<int> signatures = 0;
        const auto sign = [&] {
            if (UseKey(Library().qesSignData, session, hash, 0, 256).status == 0) {
                ++signatures;
            }
        };
        std::thread other(sign);
        sign();
        other.join();
        EXPECT_EQ(signatures, 1);
    }
}

TEST_F(Threads, AtOnceLoseNoTry)
{
    const CardSession session = InsertAndOpen("ref2");
    std::vector<std::thread> threads;
    threads.reserve(4);
    std::atomic<int> wrong = 0;
    std::atomic<int> locked = 0;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            const CardStatus returned = VerifyPin(session, wrongCode).returned;
            wrong += returned == 15 ? 1 : 0;
            locked += returned == 17 ? 1 : 0;
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 2);
    EXPECT_EQ(locked, 2);
}

} // namespace
