#include "tests/front/dialog_test.h"
#include "tests/front/every_call.h"
#include "tests/front/front_test.h"
#include "tests/front/other_thread.h"
#include "tests/front/system/freed_memory.h"
#include "tests/support/test_certificates.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

namespace front_test {
namespace {

using ThreadsTest = FrontTest;

TEST_F(ThreadsTest, ManyThreadsWorkAtOnceWithoutCallbacks)
{
    script->SetRecording(false);
    StartWithCard();
    ASSERT_EQ(Login(Open(ordinary)), CKR_OK);
    const Bytes expected = SignatureOfMessage(Text("message"));
    std::atomic<int> good{0};
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 10; ++round) {
                const CK_SESSION_HANDLE session = Open(ordinary);
                Bytes digest;
                Bytes signature;
                const bool worked =
                    SignInit(session) == CKR_OK && Sign(session, Text("message"), signature) == CKR_OK &&
                    signature == expected && Digest(session, CKM_SHA256, Text("abc"), digest) == CKR_OK &&
                    Slots().size() == 2;
                good += worked && f->C_CloseSession(session) == CKR_OK ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(good, 40);
    EXPECT_EQ(script->MostCallsInside(), 1);
}

TEST_F(ThreadsTest, CardsComeAndGoWhileThreadsWork)
{
    script->SetRecording(false);
    StartWithCard();
    std::atomic<bool> going{true};
    std::vector<std::thread> threads;
    threads.reserve(3);
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            while (going) {
                CK_SESSION_HANDLE session = 0;
                if (f->C_OpenSession(ordinary, CKF_SERIAL_SESSION, nullptr, nullptr, &session) == CKR_OK) {
                    static_cast<void>(Login(session));
                    CK_MECHANISM mechanism{CKM_SHA256, nullptr, 0};
                    static_cast<void>(f->C_DigestInit(session, &mechanism));
                    static_cast<void>(f->C_CloseSession(session));
                }
            }
        });
    }
    for (int i = 0; i < 10; ++i) {
        RemoveCard(readerA);
        InsertCard(readerA);
    }
    going = false;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{0, 1}));
}

TEST_F(ThreadsTest, ObjectMadeWhileItsCardGoesIsRemoved)
{
    StartWithCard();
    Records records; // so large that the card often goes between the start and the end of a call
    records.Number(CKA_CLASS, CKO_PUBLIC_KEY).Number(CKA_KEY_TYPE, CKK_RSA);
    records.Add(CKA_MODULUS, Bytes(128, 1)).Add(CKA_PUBLIC_EXPONENT, {3});
    records.Add(CKA_LABEL, Bytes(1U << 20U)).Add(CKA_ID, Bytes(1U << 20U));
    CK_ATTRIBUTE* const data = records.Data();
    for (int i = 0; i < 20; ++i) {
        const CK_SESSION_HANDLE session = Open(ordinary);
        std::atomic<bool> begun{false};
        std::thread making([&] {
            CK_OBJECT_HANDLE key = 0;
            while (f->C_CreateObject(session, data, records.Count(), &key) == CKR_OK) {
                begun = true;
                static_cast<void>(f->C_DestroyObject(session, key));
            }
        });
        while (!begun) {
            std::this_thread::yield();
        }
        RemoveCard(readerA);
        EXPECT_TRUE(Slots().empty());
        making.join();
        InsertCard(readerA);
        EXPECT_TRUE(Find(Open(ordinary)).empty()) << i;
    }
}

TEST_F(ThreadsTest, ObjectThatIsDestroyedWhileItIsMeasuredHasItsSizeOrNone)
{
    OverwriteFreedMemory(); // so that it cannot pass for what it was
    StartWithCard();
    const CK_SESSION_HANDLE owner = Open(ordinary);
    const CK_SESSION_HANDLE other = Open(ordinary);
    Records records;
    records.Number(CKA_CLASS, CKO_PUBLIC_KEY).Number(CKA_KEY_TYPE, CKK_RSA);
    records.Add(CKA_MODULUS, Bytes(128, 1)).Add(CKA_PUBLIC_EXPONENT, {3});
    CK_ATTRIBUTE* const data = records.Data();
    CK_OBJECT_HANDLE first = 0;
    ASSERT_EQ(f->C_CreateObject(owner, data, records.Count(), &first), CKR_OK);
    CK_ULONG expected = 0;
    ASSERT_EQ(f->C_GetObjectSize(other, first, &expected), CKR_OK);

    std::atomic<CK_OBJECT_HANDLE> newest{first};
    std::atomic<bool> going{true};
    std::atomic<int> wrong{0};
    std::thread measuring([&] {
        while (going) {
            CK_ULONG size = expected;
            const CK_RV answer = f->C_GetObjectSize(other, newest, &size);
            wrong += (answer == CKR_OK || answer == CKR_OBJECT_HANDLE_INVALID) && size == expected ? 0 : 1;
        }
    });
    for (int i = 0; i < 3000; ++i) {
        CK_OBJECT_HANDLE made = 0;
        ASSERT_EQ(f->C_CreateObject(owner, data, records.Count(), &made), CKR_OK);
        const CK_OBJECT_HANDLE old = newest.exchange(made);
        ASSERT_EQ(f->C_DestroyObject(owner, old), CKR_OK);
    }
    going = false;
    measuring.join();
    EXPECT_EQ(wrong, 0);
}

TEST_F(DialogTest, CallsThatNeedNoCardAreAnsweredDuringADialog)
{
    StartWithDialogInFirstCard();
    EXPECT_EQ(Slots().size(), 4U);
    CK_SLOT_INFO slot{};
    EXPECT_EQ(f->C_GetSlotInfo(0, &slot), CKR_OK);
    CK_TOKEN_INFO token{};
    EXPECT_EQ(f->C_GetTokenInfo(3, &token), CKR_OK);
    EXPECT_EQ(State(first), CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(State(second), CKS_RO_USER_FUNCTIONS);
    CK_ULONG count = 0;
    EXPECT_EQ(f->C_GetMechanismList(3, nullptr, &count), CKR_OK);
    CK_INFO info{};
    EXPECT_EQ(f->C_GetInfo(&info), CKR_OK);
    CK_SLOT_ID event = 0;
    EXPECT_EQ(f->C_WaitForSlotEvent(CKF_DONT_BLOCK, &event, nullptr), CKR_NO_EVENT);

    Bytes digest;
    EXPECT_EQ(Digest(second, CKM_SHA256, Text("abc"), digest), CKR_OK);
    EXPECT_EQ(f->C_GenerateRandom(second, digest.data(), Length(digest)), CKR_OK);
    const CK_OBJECT_HANDLE key = FindOne(second, CKO_PUBLIC_KEY);
    ASSERT_EQ(VerifyInit(second, CKM_SHA256_RSA_PKCS, key), CKR_OK);
    EXPECT_EQ(Verify(second, Text("m"), Bytes(128, 1)), CKR_SIGNATURE_INVALID);
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    ASSERT_EQ(f->C_EncryptInit(second, &mechanism, key), CKR_OK);
    Bytes block(128);
    CK_ULONG length = Length(block);
    EXPECT_EQ(f->C_Encrypt(second, digest.data(), Length(digest), block.data(), &length), CKR_OK);
    EXPECT_EQ(Login(second), CKR_USER_ALREADY_LOGGED_IN);
    const CK_SESSION_HANDLE third = Open(2);
    EXPECT_EQ(f->C_CloseSession(third), CKR_OK);
    EndDialog();
}

TEST_F(DialogTest, SignatureWaitsForTheDialogOfAnotherCard)
{
    StartWithDialogInFirstCard();
    ASSERT_EQ(SignInit(second), CKR_OK);
    Bytes signature;
    CK_RV signingAnswer = CKR_GENERAL_ERROR;
    OtherThread signing([&] { signingAnswer = Sign(second, Text("m"), signature); });
    signing.WaitUntilItSleeps();
    EXPECT_FALSE(signing.IsDone());
    EndDialog();
    signing.Join();
    EXPECT_EQ(signingAnswer, CKR_OK);
}

TEST_F(DialogTest, SlotsAreListedDuringEveryKindOfDialog)
{
    StartWithTwoSessions();
    ASSERT_EQ(Login(first), CKR_OK);
    ASSERT_EQ(SignInit(first), CKR_OK);
    OpenDialog("QES_VerifyPin", [this] { return f->C_Login(first, CKU_CONTEXT_SPECIFIC, nullptr, 0); });
    EXPECT_EQ(Slots().size(), 4U);
    EndDialog();
    OpenDialog("QES_SignData", [this] {
        Bytes signature;
        return Sign(first, Text("m"), signature);
    });
    EXPECT_EQ(Slots().size(), 4U);
    EndDialog();
    const CK_OBJECT_HANDLE key = FindOne(second, CKO_PRIVATE_KEY);
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    ASSERT_EQ(f->C_DecryptInit(second, &mechanism, key), CKR_OK);
    OpenDialog("ES_DecryptData", [this] {
        Bytes block(128, 1);
        CK_ULONG length = Length(block);
        return f->C_Decrypt(second, block.data(), Length(block), block.data(), &length);
    });
    EXPECT_EQ(Slots().size(), 4U);
    EndDialog();
}

TEST_F(DialogTest, CardThatGoesDuringADialogOfAnotherIsGoneAtOnce)
{
    StartWithDialogInFirstCard();
    RemoveCard(readerB);
    CK_SESSION_INFO info{};
    EXPECT_EQ(f->C_GetSessionInfo(second, &info), CKR_SESSION_HANDLE_INVALID);
    for (const NamedCall& call : EveryCallWithASession(f3, second)) {
        EXPECT_EQ(call.make(), CKR_SESSION_HANDLE_INVALID) << call.name;
    }
    EXPECT_EQ(Slots().size(), 2U);
    for (const CK_SLOT_ID expected : {2U, 3U}) {
        CK_SLOT_ID event = untouched;
        EXPECT_EQ(f->C_WaitForSlotEvent(CKF_DONT_BLOCK, &event, nullptr), CKR_OK);
        EXPECT_EQ(event, expected);
    }
    EndDialog();
}

TEST_F(DialogTest, LogoutOfASlotThatIsNotLoggedInIsRefusedDuringADialog)
{
    StartWithTwoSessions();
    const CK_SESSION_HANDLE other = Open(2);
    OpenDialog("Passwords_VerifyBOK", [this] { return f->C_Login(first, CKU_USER, nullptr, 0); });
    EXPECT_TRUE(IsAnsweredMeanwhile([&] { EXPECT_EQ(f->C_Logout(other), CKR_USER_NOT_LOGGED_IN); }));
    EndDialog();
}

TEST_F(DialogTest, CardThatComesDuringADialogOfAnotherIsThereAtOnce)
{
    StartWithDialogInFirstCard();
    script->RemoveCard(readerB);
    InsertCard(readerB);
    EXPECT_TRUE(IsAnsweredMeanwhile([this] {
        EXPECT_EQ(Slots().size(), 4U);
        for (const NamedCall& call : EveryCallWithASlot(f3, 3)) {
            EXPECT_NE(call.make(), CKR_TOKEN_NOT_PRESENT) << call.name;
        }
        CK_ULONG count = 0;
        EXPECT_EQ(f->C_GetMechanismList(3, nullptr, &count), CKR_OK);
        EXPECT_GT(count, 0U);
        EXPECT_EQ(State(Open(3)), CKS_RO_PUBLIC_SESSION);
    }));
    EndDialog();
}

class SlowCardTest : public DialogTest
{
protected:
    // A card has come whose first slot is the third, and takes its time to tell of itself. A session in the
    // second slot is logged in to the other card.
    void StartWithSlowCard(const char* function)
    {
        script->AddReader(readerA, blackbox::CertifiedCard());
        Start();
        second = Open(1);
        ASSERT_EQ(Login(second), CKR_OK);
        InsertCard(readerB);
        script->ForgetCalls();
        OpenDialog(function, [this] {
            CK_TOKEN_INFO slow{};
            return f->C_GetTokenInfo(2, &slow);
        });
    }

    void ExpectThatTheOtherCardAnswers(const char* function)
    {
        ASSERT_NO_FATAL_FAILURE(StartWithSlowCard(function));
        EXPECT_TRUE(IsAnsweredMeanwhile([this] {
            EXPECT_EQ(Slots().size(), 4U);
            CK_SLOT_INFO slot{};
            EXPECT_EQ(f->C_GetSlotInfo(0, &slot), CKR_OK);
            CK_TOKEN_INFO token{};
            EXPECT_EQ(f->C_GetTokenInfo(0, &token), CKR_OK);
            CK_ULONG count = 0;
            EXPECT_EQ(f->C_GetMechanismList(0, nullptr, &count), CKR_OK);
            EXPECT_EQ(State(second), CKS_RO_USER_FUNCTIONS);
        }));
        EXPECT_TRUE(IsAnsweredMeanwhile([this] {
            CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
            EXPECT_EQ(f->C_DecryptInit(second, &mechanism, FindOne(second, CKO_PRIVATE_KEY)), CKR_OK);
            Bytes block(128, 1);
            CK_ULONG length = Length(block);
            EXPECT_EQ(f->C_Decrypt(second, block.data(), Length(block), block.data(), &length), CKR_OK);
            const CK_SESSION_HANDLE other = Open(0);
            EXPECT_EQ(Login(other), CKR_OK);
            EXPECT_EQ(f->C_Logout(other), CKR_OK);
            EXPECT_EQ(f->C_CloseSession(other), CKR_OK);
        }));
        EndDialog();
    }
};

TEST_F(SlowCardTest, OtherCardAnswersWhileItsTokenInfoIsRead)
{
    ExpectThatTheOtherCardAnswers("GetTokenInfo");
}

TEST_F(SlowCardTest, OtherCardAnswersWhileItsQualifiedKeyIsRead)
{
    ExpectThatTheOtherCardAnswers("QES_GetKeyInfo");
}

TEST_F(SlowCardTest, OtherCardAnswersWhileItsOrdinaryKeyIsRead)
{
    ExpectThatTheOtherCardAnswers("ES_GetKeyInfo");
}

TEST_F(SlowCardTest, RemovalOfTheOtherCardIsSeen)
{
    ASSERT_NO_FATAL_FAILURE(StartWithSlowCard("QES_GetKeyInfo"));
    RemoveCard(readerA);
    EXPECT_TRUE(IsAnsweredMeanwhile([this] {
        CK_SESSION_INFO info{};
        EXPECT_EQ(f->C_GetSessionInfo(second, &info), CKR_SESSION_HANDLE_INVALID);
        EXPECT_EQ(Slots().size(), 2U);
    }));
    EndDialog();
}

TEST_F(SlowCardTest, CardIsAskedOnceForAllCallsThatWait)
{
    ASSERT_NO_FATAL_FAILURE(StartWithSlowCard("QES_GetKeyInfo"));
    CK_RV waiting = CKR_GENERAL_ERROR;
    OtherThread other([&] {
        CK_ULONG count = 0;
        waiting = f->C_GetMechanismList(2, nullptr, &count);
    });
    other.WaitUntilItSleeps();
    EXPECT_TRUE(IsAnsweredMeanwhile([this] { EXPECT_EQ(Slots().size(), 4U); }));
    EndDialog();
    other.Join();
    EXPECT_EQ(waiting, CKR_OK);
    EXPECT_EQ(script->CallsOf("QES_GetKeyInfo").size(), 1U);
}

TEST_F(SlowCardTest, SlotListAndSlotInfoAskNoCard)
{
    Start();
    InsertCard(readerA);
    script->ForgetCalls();
    EXPECT_EQ(Slots().size(), 2U);
    CK_SLOT_INFO slot{};
    EXPECT_EQ(f->C_GetSlotInfo(0, &slot), CKR_OK);
    EXPECT_EQ(State(Open(0)), CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(script->Calls(), std::vector<std::string>{});
}

TEST_F(DialogTest, WorkOfACardThatGoesMeanwhileAnswersDeviceRemoved)
{
    StartWithTwoSessions();
    const CK_OBJECT_HANDLE key = FindOne(second, CKO_PRIVATE_KEY);
    Bytes signature;
    ASSERT_EQ(SignInit(second, CKM_SHA256_RSA_PKCS, key), CKR_OK);
    ASSERT_EQ(Sign(second, Text("m"), signature), CKR_OK);
    ASSERT_EQ(SignInit(second, CKM_SHA256_RSA_PKCS, key), CKR_OK);
    OpenDialog("Passwords_VerifyBOK", [this] { return f->C_Login(first, CKU_USER, nullptr, 0); });
    CK_RV signingAnswer = CKR_OK;
    OtherThread signing([&] { signingAnswer = Sign(second, Text("m"), signature); });
    signing.WaitUntilItSleeps();
    RemoveCard(readerB);
    EndDialog();
    signing.Join();
    EXPECT_EQ(signingAnswer, CKR_DEVICE_REMOVED);
    EXPECT_EQ(f->C_CloseSession(second), CKR_SESSION_HANDLE_INVALID);
}

// Each login asks for its own code, also one that comes while a logout waits for a dialog.
TEST_F(DialogTest, LoginBesideAWaitingLogoutIsAlreadyLoggedInAndTheNextOneAsksTheCard)
{
    StartWithTwoSessions();
    const CK_SESSION_HANDLE other = Open(3);
    OpenDialog("Passwords_VerifyBOK", [this] { return f->C_Login(first, CKU_USER, nullptr, 0); });
    CK_RV logoutAnswer = CKR_GENERAL_ERROR;
    OtherThread logout([&] { logoutAnswer = f->C_Logout(second); });
    logout.WaitUntilItSleeps();
    EXPECT_EQ(Login(other), CKR_USER_ALREADY_LOGGED_IN) << "the logout has not had its turn yet";
    EndDialog();
    logout.Join();
    EXPECT_EQ(logoutAnswer, CKR_OK);
    EXPECT_EQ(State(other), CKS_RO_PUBLIC_SESSION);
    const std::size_t asked = script->CallsOf("Passwords_VerifyBOK").size();
    EXPECT_EQ(Login(other), CKR_OK);
    EXPECT_EQ(script->CallsOf("Passwords_VerifyBOK").size(), asked + 1);
}

class ReplacedCardTest : public DialogTest
{
protected:
    // What a call answers that waits for a dialog of the first card while the second card is replaced.
    CK_RV AnswerWithCardReplaced(const std::function<CK_RV()>& call)
    {
        OpenDialog("Passwords_VerifyBOK", [this] { return f->C_Login(first, CKU_USER, nullptr, 0); });
        CK_RV waitingAnswer = CKR_OK;
        OtherThread waiting([&] { waitingAnswer = call(); });
        waiting.WaitUntilItSleeps();
        script->RemoveCard(readerB);
        InsertCard(readerB);
        script->ForgetCalls();
        std::atomic<bool> going{true};
        std::vector<std::thread> looking; // so that the new card is seen before the call has its turn
        looking.reserve(4);
        for (int i = 0; i < 4; ++i) {
            looking.emplace_back([&] {
                while (going) {
                    static_cast<void>(Slots());
                }
            });
        }
        EndDialog();
        waiting.Join();
        going = false;
        for (std::thread& thread : looking) {
            thread.join();
        }
        return waitingAnswer;
    }
};

TEST_F(ReplacedCardTest, WaitingLoginIsNotGivenToTheNextCard)
{
    StartWithTwoSessions();
    ASSERT_EQ(f->C_CloseSession(second), CKR_OK);
    const CK_SESSION_HANDLE session = Open(2);
    EXPECT_EQ(AnswerWithCardReplaced([&] { return Login(session); }), CKR_DEVICE_REMOVED);
    EXPECT_TRUE(script->CallsOf("Passwords_VerifyBOK").empty());
}

TEST_F(ReplacedCardTest, WaitingLoginForASignatureIsNotGivenToTheNextCard)
{
    StartWithTwoSessions();
    const CK_SESSION_HANDLE session = Open(2);
    ASSERT_EQ(Login(session), CKR_OK);
    ASSERT_EQ(SignInit(session), CKR_OK);
    EXPECT_EQ(AnswerWithCardReplaced([&] { return Login(session, CKU_CONTEXT_SPECIFIC); }),
              CKR_DEVICE_REMOVED);
    EXPECT_TRUE(script->CallsOf("QES_VerifyPin").empty());
}

TEST_F(DialogTest, FinalizeWaitsForTheDialog)
{
    StartWithDialogInFirstCard();
    CK_RV ending = CKR_GENERAL_ERROR;
    OtherThread finalizing([&] { ending = f->C_Finalize(nullptr); });
    WaitUntilTheEndHasBegun();
    finalizing.WaitUntilItSleeps();
    EXPECT_FALSE(finalizing.IsDone());
    EndDialog();
    finalizing.Join();
    EXPECT_EQ(ending, CKR_OK);
}

} // namespace
} // namespace front_test
