// Several threads at once: what the lock does without the application's callbacks, and that nothing is lost
// with them.
#include "tests/support/black_box_test.h"
#include "tests/support/eventually.h"
#include "tests/support/function_calls.h"
#include "tests/support/mutex_callbacks.h"

#include <array>
#include <set>
#include <system_error>
#include <thread>

namespace blackbox {
namespace {

class ConcurrencyTest : public BlackBoxTest
{
protected:
    // Opens a session and runs `action` on another thread while its card call lasts.
    void DuringACardCall(const std::function<void()>& action)
    {
        script->Next("StartTransaction", {.hook = [&] { std::thread(action).join(); }});
        OpenSession(1);
    }

    // What the call throws, as a code, or none when it answers.
    static std::error_code ErrorOf(const std::function<void()>& call)
    {
        try {
            call();
        } catch (const std::system_error& error) {
            return error.code();
        }
        return {};
    }

    // By name: the category may be another object in the library than in the test.
    static bool IsDeadlock(const std::error_code& code)
    {
        return code.value() == static_cast<int>(std::errc::resource_deadlock_would_occur) &&
               code.category().name() == std::string("generic");
    }
};

TEST_F(ConcurrencyTest, EveryFunctionThatTakesTheLockThrowsWhileAnotherThreadHoldsIt)
{
    const std::set<std::string> elsewhere{"C_Initialize",     "C_Finalize",      "C_SeedRandom",
                                          "C_GenerateRandom", "C_GetObjectSize", "C_GetFunctionList"};
    const std::set<std::string> locking{"C_GetInfo",
                                        "C_GetSlotList",
                                        "C_GetSlotInfo",
                                        "C_GetTokenInfo",
                                        "C_GetMechanismList",
                                        "C_GetMechanismInfo",
                                        "C_OpenSession",
                                        "C_CloseSession",
                                        "C_CloseAllSessions",
                                        "C_GetSessionInfo",
                                        "C_Login",
                                        "C_Logout",
                                        "C_CreateObject",
                                        "C_GetAttributeValue",
                                        "C_FindObjectsInit",
                                        "C_FindObjects",
                                        "C_FindObjectsFinal",
                                        "C_SignInit",
                                        "C_Sign"};
    InitializeWithCard();
    std::array<CK_BYTE, 1024> memory{}; // whatever a pointer argument may point to
    DuringACardCall([&] {
        for (const std::string& name : locking) {
            const FunctionCall& function = FunctionCallNamed(name);
            const std::error_code code =
                ErrorOf([&] { function.call(f, reinterpret_cast<uintptr_t>(memory.data())); });
            EXPECT_TRUE(IsDeadlock(code)) << function.name << ": " << code.message();
        }
    });
    CK_INFO info{};
    EXPECT_EQ(f->C_GetInfo(&info), CKR_OK) << "the lock is free again";
}

TEST_F(ConcurrencyTest, FunctionListThrowsWhileAnotherThreadHoldsTheLock)
{
    InitializeWithCard();
    CK_FUNCTION_LIST* list = nullptr;
    DuringACardCall([&] { EXPECT_TRUE(IsDeadlock(ErrorOf([&] { f->C_GetFunctionList(&list); }))); });
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(f->C_GetFunctionList(&list), CKR_OK);
}

TEST_F(ConcurrencyTest, FinalizeFailsWhileAnotherThreadHoldsTheLock)
{
    InitializeWithCard();
    DuringACardCall([&] { EXPECT_EQ(f->C_Finalize(nullptr), CKR_FUNCTION_FAILED); });
    EXPECT_EQ(script->CallsOf("Finalize").size(), 0U);
    EXPECT_EQ(f->C_Finalize(nullptr), CKR_OK);
}

TEST_F(ConcurrencyTest, InitializeFailsWhileAnotherThreadStartsTheLibrary)
{
    script->Next("Initialize", {.hook = [&] {
                     std::thread([&] { EXPECT_EQ(f->C_Initialize(nullptr), CKR_FUNCTION_FAILED); }).join();
                 }});
    EXPECT_EQ(f->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(script->CallsOf("Initialize").size(), 1U);
}

TEST_F(ConcurrencyTest, ArgumentTestsBeforeTheLockAnswerWhileAnotherThreadHoldsIt)
{
    InitializeWithCard();
    DuringACardCall([&] {
        EXPECT_EQ(f->C_GetInfo(nullptr), CKR_ARGUMENTS_BAD);
        EXPECT_EQ(f->C_GetSlotList(CK_TRUE, nullptr, nullptr), CKR_ARGUMENTS_BAD);
        EXPECT_EQ(f->C_GetSlotInfo(1, nullptr), CKR_ARGUMENTS_BAD);
        EXPECT_EQ(f->C_GetTokenInfo(1, nullptr), CKR_ARGUMENTS_BAD);
        EXPECT_EQ(f->C_GetSessionInfo(1, nullptr), CKR_ARGUMENTS_BAD);
        EXPECT_EQ(f->C_Initialize(nullptr), CKR_CRYPTOKI_ALREADY_INITIALIZED);
    });
}

TEST_F(ConcurrencyTest, ThreadsMayTakeTurnsWithoutCallbacks)
{
    InitializeWithCard();
    CK_SESSION_HANDLE session = 0;
    std::thread([&] { session = OpenSession(1); }).join();
    EXPECT_EQ(StateOf(session), CKS_RO_PUBLIC_SESSION);
    std::thread([&] { LoginUser(session); }).join();
    EXPECT_EQ(StateOf(session), CKS_RO_USER_FUNCTIONS);
}

TEST_F(ConcurrencyTest, CallbacksLetASecondThreadWaitForTheFirst)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    InitializeWithCard(Card{}, &arguments);
    std::thread second;
    script->Next("StartTransaction", {.hook = [&] {
                     second = std::thread([&] {
                         CK_INFO info{};
                         EXPECT_EQ(f->C_GetInfo(&info), CKR_OK);
                     });
                     EXPECT_TRUE(Eventually([] { return ThreadsAtMutexes() == 2; }));
                     script->Note("card call ends");
                 }});
    OpenSession(1);
    second.join();
    EXPECT_EQ(script->Calls(), (Texts{"LockMutex(1)", "StartTransaction(101)", "card call ends",
                                      "UnlockMutex(1)", "LockMutex(1)", "UnlockMutex(1)"}));
}

} // namespace
} // namespace blackbox
