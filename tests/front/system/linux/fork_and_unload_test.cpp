#include "tests/front/dialog_test.h"
#include "tests/front/every_call.h"
#include "tests/front/front_test.h"
#include "tests/front/other_thread.h"
#include "tests/support/eventually.h"
#include "tests/support/linux/child_process.h"
#include "tests/support/script.h"

#include <chrono>
#include <fstream>
#include <iterator>

#include <dlfcn.h>
#include <unistd.h>

namespace front_test {
namespace {

class ForkTest : public FrontTest
{
protected:
    static std::ptrdiff_t ThreadsOfProcess()
    {
        const std::filesystem::directory_iterator tasks("/proc/self/task");
        return std::distance(begin(tasks), end(tasks));
    }

    static bool IsMapped(const std::string& name)
    {
        std::ifstream maps("/proc/self/maps");
        const std::string all{std::istreambuf_iterator<char>(maps), {}};
        return all.find(name) != std::string::npos;
    }
};

TEST_F(ForkTest, ChildStartsAnewAndTheParentGoesOn)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    const int exitCode = blackbox::ExitOfChild([&] {
        CK_SESSION_INFO info{};
        CK_ULONG count = 0;
        const bool refused = f->C_GetSessionInfo(session, &info) == CKR_CRYPTOKI_NOT_INITIALIZED;
        const bool started = f->C_Initialize(nullptr) == CKR_OK;
        const bool works = f->C_GetSlotList(CK_TRUE, nullptr, &count) == CKR_OK && count == 2 &&
                           Login(Open(ordinary)) == CKR_OK && Find(Open(ordinary)).size() == 3;
        const bool ended = f->C_Finalize(nullptr) == CKR_OK;
        _exit((refused ? 0 : 1) + (started ? 0 : 2) + (works ? 0 : 4) + (ended ? 0 : 8));
    });
    EXPECT_EQ(exitCode, 0);
    EXPECT_EQ(State(session), CKS_RO_USER_FUNCTIONS);
    EXPECT_EQ(Find(session).size(), 3U);
    EXPECT_EQ(f->C_Logout(session), CKR_OK); // as a call that needs the library alone
    EXPECT_EQ(Login(session), CKR_OK);
}

TEST_F(ForkTest, NoCallOfTheChildWorksBeforeItsStart)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    const int failed = blackbox::ExitOfChild([&] {
        CK_ULONG count = 0;
        int others = f->C_GetSlotList(CK_TRUE, nullptr, &count) == CKR_CRYPTOKI_NOT_INITIALIZED ? 0 : 1;
        for (const auto& calls : {EveryCallWithASlot(f3, ordinary), EveryCallWithASession(f3, session)}) {
            for (const NamedCall& call : calls) {
                others += call.make() == CKR_CRYPTOKI_NOT_INITIALIZED ? 0 : 1;
            }
        }
        others += f->C_Finalize(nullptr) == CKR_CRYPTOKI_NOT_INITIALIZED ? 0 : 1;
        _exit(others);
    });
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(State(session), CKS_RO_PUBLIC_SESSION);
}

TEST_F(DialogTest, ChildOfAForkDuringADialogSignsAndTheDialogGoesOn)
{
    StartWithDialogInFirstCard();
    const int exitCode = blackbox::ExitOfChild([&] {
        CK_SESSION_INFO info{};
        const bool refused = f->C_GetSessionInfo(second, &info) == CKR_CRYPTOKI_NOT_INITIALIZED;
        const bool started = f->C_Initialize(nullptr) == CKR_OK && Slots().size() == 4;
        const CK_SESSION_HANDLE own = Open(1); // on the card of the dialog
        Bytes signature;
        const bool signs = Login(own) == CKR_OK && SignInit(own) == CKR_OK &&
                           Sign(own, Text("m"), signature) == CKR_OK &&
                           signature == SignatureOfMessage(Text("m"));
        const bool finished = f->C_Finalize(nullptr) == CKR_OK;
        _exit((refused ? 0 : 1) + (started ? 0 : 2) + (signs ? 0 : 4) + (finished ? 0 : 8));
    });
    EXPECT_EQ(exitCode, 0);
    EndDialog();
    EXPECT_EQ(State(first), CKS_RO_USER_FUNCTIONS);
    EXPECT_EQ(Find(first).size(), 3U);
    ASSERT_EQ(SignInit(second), CKR_OK);
    Bytes signature;
    EXPECT_EQ(Sign(second, Text("m"), signature), CKR_OK);
}

class ForkInAnotherThreadTest : public DialogTest
{
protected:
    // Makes the call, forks in another thread while it is inside this function of the card, and has the child
    // start a front of its own.
    void ExpectThatForkWaits(const char* function, std::function<CK_RV()> call)
    {
        OpenDialog(function, std::move(call));
        int exitCode = -1;
        OtherThread forking([&] {
            exitCode = blackbox::ExitOfChild([&] { _exit(f->C_Initialize(nullptr) == CKR_OK ? 0 : 1); });
        });
        forking.WaitUntilItSleeps();
        EXPECT_FALSE(forking.IsDone());
        EndDialog();
        forking.Join();
        EXPECT_EQ(exitCode, 0);
    }
};

TEST_F(ForkInAnotherThreadTest, ForkWaitsForACallOfTheLibrary)
{
    Start();
    InsertCard(readerA);
    ExpectThatForkWaits("QES_GetKeyInfo", [this] {
        CK_TOKEN_INFO token{};
        return f->C_GetTokenInfo(0, &token);
    });
    EXPECT_EQ(Slots().size(), 2U);
}

TEST_F(ForkInAnotherThreadTest, ForkWaitsForInitialize)
{
    script->AddReader(readerA, blackbox::CertifiedCard());
    ExpectThatForkWaits("GetReaderList", [this] { return f->C_Initialize(nullptr); });
    EXPECT_EQ(Slots().size(), 2U);
}

TEST_F(ForkInAnotherThreadTest, ForkWaitsForFinalize)
{
    StartWithCard();
    ExpectThatForkWaits("Finalize", [this] { return f->C_Finalize(nullptr); });
    Start();
    EXPECT_EQ(Slots().size(), 2U);
}

TEST_F(ForkInAnotherThreadTest, ForkDoesNotWaitForADialogThatFinalizeWaitsFor)
{
    StartWithDialogInFirstCard();
    std::thread finalizing([this] { EXPECT_EQ(f->C_Finalize(nullptr), CKR_OK); });
    WaitUntilTheEndHasBegun();
    EXPECT_EQ(blackbox::ExitOfChild([this] { _exit(f->C_Initialize(nullptr) == CKR_OK ? 0 : 1); }), 0);
    EndDialog();
    finalizing.join();
}

TEST_F(ForkInAnotherThreadTest, ForkDoesNotWaitForALoginThatLetsTimePass)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    bool wasWaiting = false;
    for (int attempt = 0; attempt < 10 && !wasWaiting; ++attempt) {
        OtherThread login([&] { static_cast<void>(f->C_Login(session, CKU_USER, nullptr, 0)); });
        login.WaitUntilItSleeps();
        EXPECT_EQ(blackbox::ExitOfChild([this] { _exit(f->C_Initialize(nullptr) == CKR_OK ? 0 : 1); }), 0);
        wasWaiting = !login.IsDone();
    }
    EXPECT_TRUE(wasWaiting);
}

TEST_F(ForkTest, CallThatForksItselfGoesOn)
{
    Start();
    InsertCard(readerA);
    int exitCode = -1;
    script->Next("QES_GetKeyInfo", {.hook = [&] { exitCode = blackbox::ExitOfChild([] { _exit(0); }); }});
    CK_TOKEN_INFO token{};
    EXPECT_EQ(f->C_GetTokenInfo(0, &token), CKR_OK);
    EXPECT_EQ(exitCode, 0);
}

TEST_F(DialogTest, ProcessEndsDuringADialog)
{
    script->AddReader(readerA, scripted::Card{}); // without keys, as below
    EXPECT_EQ(blackbox::ExitOfChild([this] {
                  Start();
                  first = Open(0);
                  OpenDialog("Passwords_VerifyBOK",
                             [this] { return f->C_Login(first, CKU_USER, nullptr, 0); });
              }),
              0);
}

TEST_F(ForkTest, ChildThatDoesNothingEndsAtOnce)
{
    // A card without keys: Botan, which the test makes keys with, waits at the end for threads that no child
    // has.
    script->AddReader(readerA, scripted::Card{});
    Start();
    EXPECT_EQ(blackbox::ExitOfChild([] {}), 0);
    EXPECT_EQ(Slots().size(), 2U);
}

TEST_F(ForkTest, UnloadingLeavesNoThreadBehind)
{
    void* handle = nullptr;
    LoadFront(blackbox::ScriptedFolder(), &handle);
    dlclose(handle); // the fixture has another one
    script->AddReader(readerA, scripted::Card{});
    Start(); // once before, because a sanitizer gets a thread of its own with the first
    ASSERT_EQ(f->C_Finalize(nullptr), CKR_OK);
    const auto before = ThreadsOfProcess();
    Start();
    Open(qualified);
    EXPECT_GT(ThreadsOfProcess(), before);
    dlclose(handle);
    EXPECT_TRUE(blackbox::Eventually([&] { return ThreadsOfProcess() <= before; })) << "a thread is left";
    EXPECT_FALSE(IsMapped("tavrik-pkcs11.so"));
    EXPECT_FALSE(IsMapped("libpkcs11_x64.so"));
    f = LoadFront(blackbox::ScriptedFolder());
    Start();
    EXPECT_EQ(Slots().size(), 2U);
}

} // namespace
} // namespace front_test
