// The start and the end of the library, the frame's tests, and the mutex callbacks of the application.
#include "tests/support/black_box_test.h"
#include "tests/support/eventually.h"
#include "tests/support/function_calls.h"
#include "tests/support/mutex_callbacks.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

namespace blackbox {
namespace {

const Texts startOfEmptyRun{"GetAppDataDir(1023)", "GetUserDataDir(1023)", "Initialize",
                            "GetReaderList(1023)", "OpenSession()",        "WaitForReaderEvent(0)"};

// One mutex of the application, however often the library asks for one, and how many came to it.
std::mutex applicationsOnlyMutex;
std::atomic<int> comersToTheMutex{0};

CK_C_INITIALIZE_ARGS ArgumentsWithOneMutex()
{
    comersToTheMutex = 0;
    return {[](CK_VOID_PTR_PTR place) -> CK_RV {
                *place = &applicationsOnlyMutex;
                return CKR_OK;
            },
            [](CK_VOID_PTR) -> CK_RV { return CKR_OK; },
            [](CK_VOID_PTR) -> CK_RV {
                ++comersToTheMutex;
                applicationsOnlyMutex.lock();
                return CKR_OK;
            },
            [](CK_VOID_PTR) -> CK_RV {
                applicationsOnlyMutex.unlock();
                return CKR_OK;
            },
            0,
            nullptr};
}

// Lets the waits for reader events come in and holds them there until it is opened.
class HeldWaits
{
public:
    // For the hook of a wait; the one that the library's start makes is let through.
    void Pass()
    {
        std::unique_lock lock(mutex);
        if (std::this_thread::get_id() == starter) {
            return;
        }
        inside.insert(std::this_thread::get_id());
        changed.notify_all();
        changed.wait(lock, [&] { return open; });
        inside.erase(std::this_thread::get_id());
    }
    void Open()
    {
        const std::lock_guard lock(mutex);
        open = true;
        changed.notify_all();
    }
    // Waits until so many threads are held.
    bool Holds(size_t threads)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::minutes(2), [&] { return inside.size() == threads; });
    }
    size_t Inside()
    {
        const std::lock_guard lock(mutex);
        return inside.size();
    }

private:
    const std::thread::id starter = std::this_thread::get_id();
    std::mutex mutex;
    std::condition_variable changed;
    std::set<std::thread::id> inside;
    bool open = false;
};

class LifecycleTest : public BlackBoxTest
{
protected:
    // A record with no callbacks at all, which is not the same as no record.
    static CK_C_INITIALIZE_ARGS EmptyArguments() { return {nullptr, nullptr, nullptr, nullptr, 0, nullptr}; }

    void RunOnceWithCallbacks()
    {
        CK_C_INITIALIZE_ARGS arguments = MutexArguments();
        Initialize(&arguments);
        Finalize();
        script->ForgetCalls();
    }
};

TEST_F(LifecycleTest, FunctionListIsGivenBeforeInitialize)
{
    CK_FUNCTION_LIST* list = nullptr;
    EXPECT_EQ(f->C_GetFunctionList(&list), CKR_OK);
    EXPECT_EQ(list, f);
    EXPECT_EQ(script->Calls(), Texts{});
}

TEST_F(LifecycleTest, FunctionListIsTheSameTableInEveryState)
{
    CK_FUNCTION_LIST* list = nullptr;
    Initialize();
    EXPECT_EQ(f->C_GetFunctionList(&list), CKR_OK);
    EXPECT_EQ(list, f);
    Finalize();
    list = nullptr;
    EXPECT_EQ(f->C_GetFunctionList(&list), CKR_OK);
    EXPECT_EQ(list, f);
}

TEST_F(LifecycleTest, FunctionListWithNullArgumentIsRefusedInEveryState)
{
    EXPECT_EQ(f->C_GetFunctionList(nullptr), CKR_ARGUMENTS_BAD);
    Initialize();
    EXPECT_EQ(f->C_GetFunctionList(nullptr), CKR_ARGUMENTS_BAD);
}

TEST_F(LifecycleTest, FunctionListHoldsTheExportedFunctionsInStandardOrder)
{
    ASSERT_EQ(sizeof(CK_FUNCTION_LIST), 546U);
    EXPECT_EQ(f->version.major, 2);
    EXPECT_EQ(f->version.minor, 20);
    std::array<void*, 68> pointers{};
    std::memcpy(pointers.data(), reinterpret_cast<const CK_BYTE*>(f) + sizeof(CK_VERSION), sizeof pointers);
    const std::vector<FunctionCall>& functions = FunctionCalls();
    ASSERT_EQ(functions.size(), pointers.size());
    EXPECT_EQ(functions.front().name, "C_Initialize");
    EXPECT_EQ(functions.back().name, "C_WaitForSlotEvent");
    for (size_t index = 0; index < functions.size(); ++index) {
        EXPECT_EQ(pointers.at(index), LibrarySymbol(functions[index].name.c_str())) << functions[index].name;
    }
}

TEST_F(LifecycleTest, StartMakesItsCardCallsInOrder)
{
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(script->Calls(), startOfEmptyRun);
    EXPECT_NE(script->CallsOf("Initialize").front().pointer, nullptr);
    EXPECT_TRUE(script->CallsOf("GetAppDataDir").front().outputsClear);
}

TEST_F(LifecycleTest, StartWaitsOnceOnTheCallersThreadAndThenOnOneOfItsOwn)
{
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
    ASSERT_TRUE(HasBegunWaits(2));
    Finalize();
    std::vector<scripted::CardCall> waits = script->CallsOf("WaitForReaderEvent");
    ASSERT_GE(waits.size(), 3U);
    EXPECT_EQ(waits.front().constants, std::vector<uint32_t>{0});
    EXPECT_EQ(waits.front().thread, std::this_thread::get_id());
    waits.erase(waits.begin());
    for (const scripted::CardCall& wait : waits) {
        EXPECT_EQ(wait.constants, std::vector<uint32_t>{500});
        EXPECT_NE(wait.thread, std::this_thread::get_id());
        EXPECT_EQ(wait.thread, waits.front().thread);
    }
}

TEST_F(LifecycleTest, LoggerAddressBeginsWithTheStartSettings)
{
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
    const auto* settings = static_cast<const uint8_t*>(script->CallsOf("Initialize").front().pointer);
    // console, debugger, file, level, extensive, reserved, time format, six reserved, file count
    EXPECT_EQ(Bytes(settings, settings + 14), (Bytes{0, 0, 1, 2, 0, 0, 1, 0, 0, 0, 0, 0, 0, 5}));
}

TEST_F(LifecycleTest, SecondInitializeIsRefusedAndChangesNothing)
{
    InitializeWithCard();
    const CK_SESSION_HANDLE session = OpenSession(1);
    script->ForgetCalls();
    EXPECT_EQ(f->C_Initialize(nullptr), CKR_CRYPTOKI_ALREADY_INITIALIZED);
    EXPECT_EQ(script->Calls(), Texts{});
    EXPECT_EQ(StateOf(session), CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{1, 2}));
}

TEST_F(LifecycleTest, SecondInitializeIsRefusedBeforeItsArgumentsAreLookedAt)
{
    Initialize();
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    EXPECT_EQ(f->C_Initialize(&arguments), CKR_CRYPTOKI_ALREADY_INITIALIZED);
    arguments.pReserved = &arguments;
    arguments.LockMutex = nullptr;
    EXPECT_EQ(f->C_Initialize(&arguments), CKR_CRYPTOKI_ALREADY_INITIALIZED);
    CK_INFO info{};
    EXPECT_EQ(f->C_GetInfo(&info), CKR_OK);
    EXPECT_EQ(script->Calls(), Texts{}) << "no callback was stored";
}

TEST_F(LifecycleTest, ASecondInitializeThatWaitedStartsAgain)
{
    CK_C_INITIALIZE_ARGS arguments = ArgumentsWithOneMutex();
    CK_RV secondAnswer = CKR_GENERAL_ERROR;
    std::thread second;
    script->Next("GetAppDataDir", {.hook = [&] {
                     second = std::thread([&] { secondAnswer = f->C_Initialize(&arguments); });
                     EXPECT_TRUE(Eventually([] { return comersToTheMutex == 2; }));
                 }});
    EXPECT_EQ(f->C_Initialize(&arguments), CKR_OK);
    second.join();
    EXPECT_EQ(secondAnswer, CKR_OK);
    EXPECT_EQ(script->Calls(), startOfEmptyRun + startOfEmptyRun);
    CK_INFO info{};
    EXPECT_EQ(f->C_GetInfo(&info), CKR_OK);
    EXPECT_EQ(f->C_Finalize(nullptr), CKR_OK);
    EXPECT_EQ(f->C_Finalize(nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(f->C_Initialize(nullptr), CKR_OK);
}

TEST_F(LifecycleTest, FinalizeWaitsForEveryWatchThatWasStarted)
{
    CK_C_INITIALIZE_ARGS arguments = ArgumentsWithOneMutex();
    HeldWaits waits;
    std::thread second;
    script->Next("GetAppDataDir", {.hook = [&] {
                     second = std::thread([&] { f->C_Initialize(&arguments); });
                     EXPECT_TRUE(Eventually([] { return comersToTheMutex == 2; }));
                 }});
    ASSERT_EQ(f->C_Initialize(&arguments), CKR_OK);
    second.join();
    script->Always("WaitForReaderEvent", {.hook = [&] { waits.Pass(); }});
    ASSERT_TRUE(waits.Holds(2)) << "two starts, two watches";

    size_t insideAtTheEnd = 99;
    script->Next("Finalize", {.hook = [&] { insideAtTheEnd = waits.Inside(); }});
    std::thread end([&] { EXPECT_EQ(f->C_Finalize(nullptr), CKR_OK); });
    EXPECT_TRUE(Eventually([] { return comersToTheMutex == 3; }));
    waits.Open();
    end.join();
    script->Always("WaitForReaderEvent", {});
    EXPECT_EQ(insideAtTheEnd, 0U);
    EXPECT_EQ(script->AllCalls().back().function, "Finalize") << "no wait begins after the end";
}

TEST_F(LifecycleTest, ReservedPointerIsRefusedAndNothingStarts)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    arguments.pReserved = &arguments;
    EXPECT_EQ(f->C_Initialize(&arguments), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(script->Calls(), Texts{});
    CK_INFO info{};
    EXPECT_EQ(f->C_GetInfo(&info), CKR_CRYPTOKI_NOT_INITIALIZED);
}

TEST_F(LifecycleTest, EveryMixOfCallbacksIsRefusedAndStoresNothing)
{
    for (unsigned mask = 1; mask < 15; ++mask) {
        CK_C_INITIALIZE_ARGS arguments = MutexArguments();
        arguments.CreateMutex = (mask & 1U) != 0 ? arguments.CreateMutex : nullptr;
        arguments.DestroyMutex = (mask & 2U) != 0 ? arguments.DestroyMutex : nullptr;
        arguments.LockMutex = (mask & 4U) != 0 ? arguments.LockMutex : nullptr;
        arguments.UnlockMutex = (mask & 8U) != 0 ? arguments.UnlockMutex : nullptr;
        EXPECT_EQ(f->C_Initialize(&arguments), CKR_ARGUMENTS_BAD) << "mask " << mask;
    }
    EXPECT_EQ(script->Calls(), Texts{});
    CK_C_INITIALIZE_ARGS arguments = EmptyArguments();
    ASSERT_EQ(f->C_Initialize(&arguments), CKR_OK);
    EXPECT_EQ(script->Calls(), startOfEmptyRun);
}

TEST_F(LifecycleTest, FlagsOfTheArgumentsHaveNoEffect)
{
    for (const CK_FLAGS flags : {CKF_LIBRARY_CANT_CREATE_OS_THREADS, CKF_OS_LOCKING_OK, 3U, 0xFFFFFFFFU}) {
        CK_C_INITIALIZE_ARGS arguments = EmptyArguments();
        arguments.flags = flags;
        script->ForgetCalls();
        ASSERT_EQ(f->C_Initialize(&arguments), CKR_OK) << flags;
        EXPECT_EQ(script->Calls(), startOfEmptyRun);
        Finalize();
    }
}

TEST_F(LifecycleTest, CallbacksAreStoredAndGovernTheLockFromTheStartOn)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    ASSERT_EQ(f->C_Initialize(&arguments), CKR_OK);
    EXPECT_EQ(TakeCalls(),
              (Texts{"CreateMutex", "LockMutex(1)"} + startOfEmptyRun + Texts{"UnlockMutex(1)"}));
    CK_INFO info{};
    EXPECT_EQ(f->C_GetInfo(&info), CKR_OK);
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(1)", "UnlockMutex(1)"}));
}

TEST_F(LifecycleTest, AnswersOfTheCallbacksAreIgnored)
{
    SetMutexAnswer(CKR_GENERAL_ERROR);
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    ASSERT_EQ(f->C_Initialize(&arguments), CKR_OK);
    CK_INFO info{};
    EXPECT_EQ(f->C_GetInfo(&info), CKR_OK);
    Finalize();
}

TEST_F(LifecycleTest, CreateMutexThatMakesNothingLeavesTheNullHandle)
{
    LetCreateMutexMakeNothing(true);
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    ASSERT_EQ(f->C_Initialize(&arguments), CKR_OK);
    EXPECT_EQ(TakeCalls(),
              (Texts{"CreateMutex", "LockMutex(0)"} + startOfEmptyRun + Texts{"UnlockMutex(0)"}));
    Finalize();
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(0)", "Finalize", "UnlockMutex(0)"})) << "nothing to destroy";
}

TEST_F(LifecycleTest, FinalizeReleasesTheLockAndThenDestroysTheMutex)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    Initialize(&arguments);
    Finalize();
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(1)", "Finalize", "UnlockMutex(1)", "DestroyMutex(1)"}));
}

TEST_F(LifecycleTest, CallbacksStayStoredAfterFinalizeAndGetTheNullHandle)
{
    RunOnceWithCallbacks();
    EXPECT_EQ(f->C_Finalize(nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(0)", "UnlockMutex(0)"}));
    CK_FUNCTION_LIST* list = nullptr;
    EXPECT_EQ(f->C_GetFunctionList(&list), CKR_OK);
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(0)", "UnlockMutex(0)"}));
}

TEST_F(LifecycleTest, InitializeWithoutArgumentsTouchesNoStoredCallback)
{
    RunOnceWithCallbacks();
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(0)"} + startOfEmptyRun + Texts{"UnlockMutex(0)"}));
    Finalize();
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(0)", "Finalize", "UnlockMutex(0)"})) << "no mutex was made";
}

TEST_F(LifecycleTest, ArgumentsWithoutCallbacksCallTheStoredCreateMutexAgain)
{
    RunOnceWithCallbacks();
    CK_C_INITIALIZE_ARGS arguments = EmptyArguments();
    ASSERT_EQ(f->C_Initialize(&arguments), CKR_OK);
    EXPECT_EQ(TakeCalls(),
              (Texts{"CreateMutex", "LockMutex(2)"} + startOfEmptyRun + Texts{"UnlockMutex(2)"}));
    Finalize();
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(2)", "Finalize", "UnlockMutex(2)", "DestroyMutex(2)"}));
}

TEST_F(LifecycleTest, CallbacksOfALaterStartReplaceTheStoredOnes)
{
    RunOnceWithCallbacks();
    CK_C_INITIALIZE_ARGS arguments{[](CK_VOID_PTR_PTR) -> CK_RV { return CKR_OK; },
                                   [](CK_VOID_PTR) -> CK_RV { return CKR_OK; },
                                   [](CK_VOID_PTR) -> CK_RV {
                                       Script()->Note("OtherLock");
                                       return CKR_OK;
                                   },
                                   [](CK_VOID_PTR) -> CK_RV {
                                       Script()->Note("OtherUnlock");
                                       return CKR_OK;
                                   },
                                   0,
                                   nullptr};
    ASSERT_EQ(f->C_Initialize(&arguments), CKR_OK);
    EXPECT_EQ(TakeCalls(), (Texts{"OtherLock"} + startOfEmptyRun + Texts{"OtherUnlock"}));
}

TEST_F(LifecycleTest, RefusedArgumentsLeaveEarlierCallbacksStored)
{
    RunOnceWithCallbacks();
    CK_C_INITIALIZE_ARGS arguments = EmptyArguments();
    arguments.pReserved = &arguments;
    EXPECT_EQ(f->C_Initialize(&arguments), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(TakeCalls(), Texts{});
    EXPECT_EQ(f->C_Finalize(nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(0)", "UnlockMutex(0)"}));
}

TEST_F(LifecycleTest, FinalizeBeforeInitializeIsRefused)
{
    EXPECT_EQ(f->C_Finalize(nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(f->C_Finalize(f), CKR_CRYPTOKI_NOT_INITIALIZED) << "the state is tested before the argument";
    EXPECT_EQ(script->Calls(), Texts{});
}

TEST_F(LifecycleTest, SecondFinalizeIsRefused)
{
    Initialize();
    EXPECT_EQ(f->C_Finalize(nullptr), CKR_OK);
    EXPECT_EQ(f->C_Finalize(nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(script->Calls(), Texts{"Finalize"});
}

TEST_F(LifecycleTest, FinalizeWithAnArgumentIsRefusedAndTheLibraryStaysInitialised)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    Initialize(&arguments);
    EXPECT_EQ(f->C_Finalize(&arguments), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(1)", "UnlockMutex(1)"})) << "the lock is taken before the tests";
    CK_INFO info{};
    EXPECT_EQ(f->C_GetInfo(&info), CKR_OK);
}

TEST_F(LifecycleTest, FinalizeLeavesCardSessionsToTheNextStart)
{
    InitializeWithCard();
    OpenSession(1);
    script->ForgetCalls();
    Finalize();
    EXPECT_EQ(TakeCalls(), Texts{"Finalize"});
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(TakeCalls(),
              (Texts{"GetAppDataDir(1023)", "GetUserDataDir(1023)", "Initialize", "StopTransaction(101)",
                     "CloseSession(101)", "GetReaderList(1023)", "OpenSession(Reader A)"} +
               AddingACard(102) + Texts{"WaitForReaderEvent(0)"}));
}

TEST_F(LifecycleTest, FinalizeWaitsForTheWaitOfTheMonitoringThread)
{
    std::atomic<bool> waitBegan{false};
    std::atomic<bool> finalizing{false};
    const auto cardIsFinalized = [this] { return !script->CallsOf("Finalize").empty(); };
    Initialize();
    script->Next("WaitForReaderEvent", {.hook = [&] {
                     waitBegan = true;
                     Eventually([&] { return finalizing.load(); });
                     EXPECT_FALSE(Eventually(cardIsFinalized, std::chrono::milliseconds(100)));
                     script->Note("wait ends");
                 }});
    ASSERT_TRUE(Eventually([&] { return waitBegan.load(); }));
    finalizing = true;
    Finalize();
    EXPECT_EQ(script->Calls(), (Texts{"wait ends", "Finalize"}));
}

TEST_F(LifecycleTest, InfoIsTheConstantsByteForByte)
{
    Initialize();
    CK_INFO info;
    std::memset(&info, 0xEE, sizeof info);
    ASSERT_EQ(f->C_GetInfo(&info), CKR_OK);
    const std::string expected = std::string("\x02\x14", 2) + Padded("Corvane", 32) + std::string(4, '\0') +
                                 Padded("Tavrik PKCS#11 library", 32) + std::string("\x04\x00", 2);
    ASSERT_EQ(expected.size(), sizeof info);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&info), sizeof info), expected);
    EXPECT_EQ(script->Calls(), Texts{});
}

TEST_F(LifecycleTest, InfoWithNullArgumentIsRefusedBeforeTheLock)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    Initialize(&arguments);
    EXPECT_EQ(f->C_GetInfo(nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(script->Calls(), Texts{});
}

TEST_F(LifecycleTest, InfoBeforeInitializeIsRefusedBeforeTheArgumentIsTested)
{
    EXPECT_EQ(f->C_GetInfo(nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
}

TEST_F(LifecycleTest, EveryFunctionButTwoAnswersNotInitialisedWithoutTheLock)
{
    RunOnceWithCallbacks();
    for (const FunctionCall& function : FunctionCalls()) {
        if (function.name == "C_Initialize" || function.name == "C_GetFunctionList") {
            continue;
        }
        EXPECT_EQ(function.call(f, 0), CKR_CRYPTOKI_NOT_INITIALIZED) << function.name;
        const bool locks = function.name == "C_Finalize";
        EXPECT_EQ(TakeCalls(), (locks ? Texts{"LockMutex(0)", "UnlockMutex(0)"} : Texts{})) << function.name;
    }
}

TEST_F(LifecycleTest, ExceptionInsideInitializeAnswersFunctionFailed)
{
    script->Next("Initialize", {.hook = [] { throw std::runtime_error("scripted"); }});
    EXPECT_EQ(f->C_Initialize(nullptr), CKR_FUNCTION_FAILED);
    EXPECT_EQ(TakeCalls(), (Texts{"GetAppDataDir(1023)", "GetUserDataDir(1023)", "Initialize"}));
    CK_INFO info{};
    EXPECT_EQ(f->C_GetInfo(&info), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(f->C_Initialize(nullptr), CKR_OK) << "the lock was released";
}

TEST_F(LifecycleTest, ExceptionOfAnyTypeInsideInitializeIsCaught)
{
    script->Next("GetAppDataDir", {.hook = [] { throw 5; }}); // NOLINT(hicpp-exception-baseclass)
    EXPECT_EQ(f->C_Initialize(nullptr), CKR_FUNCTION_FAILED);
}

TEST_F(LifecycleTest, ExceptionInsideInitializeReleasesTheApplicationsMutex)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    script->Next("GetAppDataDir", {.hook = [] { throw std::runtime_error("scripted"); }});
    EXPECT_EQ(f->C_Initialize(&arguments), CKR_FUNCTION_FAILED);
    EXPECT_EQ(TakeCalls(), (Texts{"CreateMutex", "LockMutex(1)", "GetAppDataDir(1023)", "UnlockMutex(1)"}));
}

TEST_F(LifecycleTest, ExceptionAtTheEndOfAnOldCardSessionFailsInitializeAndTheNextOneStarts)
{
    InitializeWithCard();
    OpenSession(1);
    Finalize();
    for (const char* function : {"StopTransaction", "CloseSession"}) {
        script->ForgetCalls();
        script->Next(function, {.hook = [] { throw std::runtime_error("scripted"); }});
        EXPECT_EQ(f->C_Initialize(nullptr), CKR_FUNCTION_FAILED) << function;
        const Texts calls = TakeCalls();
        EXPECT_EQ(calls.back().substr(0, 12), "CloseSession") << "it is closed whatever the stop did";
        EXPECT_EQ(f->C_Initialize(nullptr), CKR_OK);
        OpenSession(Slots().front());
        Finalize();
    }
}

TEST_F(LifecycleTest, EveryOldCardSessionIsClosedWhenTheEndOfOneFails)
{
    InitializeWithTwoCards();
    Finalize();
    script->Next("CloseSession", {.hook = [] { throw 5; }}); // NOLINT(hicpp-exception-baseclass)
    EXPECT_EQ(f->C_Initialize(nullptr), CKR_FUNCTION_FAILED);
    EXPECT_EQ(script->CallsOf("CloseSession").size(), 2U);
    EXPECT_EQ(f->C_Initialize(nullptr), CKR_OK);
}

TEST_F(LifecycleTest, ExceptionInAnEventDuringInitializeAnswersFunctionFailed)
{
    script->AddReader(readerA, Card{});
    script->Next("GetReaderList", {.hook = [&] { script->PushEvent(4, readerA, 101); }});
    script->Next("CloseSession", {.hook = [] { throw std::runtime_error("scripted"); }});
    EXPECT_EQ(f->C_Initialize(nullptr), CKR_FUNCTION_FAILED);
    CK_INFO info{};
    EXPECT_EQ(f->C_GetInfo(&info), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(f->C_Initialize(nullptr), CKR_OK);
}

TEST_F(LifecycleTest, ExceptionInsideFinalizeAnswersFunctionFailedAndReleasesTheLock)
{
    LeaveLedgerAlone();
    Initialize();
    script->Next("Finalize", {.hook = [] { throw std::runtime_error("scripted"); }});
    EXPECT_EQ(f->C_Finalize(nullptr), CKR_FUNCTION_FAILED);
    CK_INFO info{};
    EXPECT_EQ(f->C_GetInfo(&info), CKR_OK) << "still initialised";
    EXPECT_EQ(f->C_Finalize(nullptr), CKR_FUNCTION_FAILED) << "no thread is left to be joined";
}

TEST_F(LifecycleTest, ExceptionInsideAnyOtherFunctionLeavesTheLibraryAndReleasesTheLock)
{
    InitializeWithCard();
    script->Next("StartTransaction", {.hook = [] { throw std::runtime_error("scripted"); }});
    CK_SESSION_HANDLE session = 0;
    EXPECT_THROW(f->C_OpenSession(1, CKF_SERIAL_SESSION, nullptr, nullptr, &session), std::runtime_error);
    CK_INFO info{};
    EXPECT_EQ(f->C_GetInfo(&info), CKR_OK);
    // The card call counts as one that began, though the library never got its end.
    script->Next("StartTransaction", {.hook = [] { throw std::runtime_error("scripted"); }});
    EXPECT_THROW(f->C_Login(session, CKU_SO, nullptr, 0), std::runtime_error);
    LeaveLedgerAlone();
}

TEST_F(LifecycleTest, LibraryStartsAgainAfterEveryFinalize)
{
    for (int run = 0; run < 3; ++run) {
        script->ForgetCalls();
        ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
        EXPECT_EQ(script->Calls(), startOfEmptyRun);
        Finalize();
    }
}

} // namespace
} // namespace blackbox
