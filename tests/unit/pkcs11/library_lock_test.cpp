#include "src/pkcs11/library_lock.h"

#include "tests/support/thrown.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <system_error>
#include <thread>

namespace {

const std::error_code deadlock = std::make_error_code(std::errc::resource_deadlock_would_occur);
const std::error_code notPermitted = std::make_error_code(std::errc::operation_not_permitted);

// The application's mutex callbacks, which note their calls.
struct Call
{
    std::string function;
    void* mutex;

    bool operator==(const Call&) const = default;
};
std::vector<Call> calls;
CK_RV answer = CKR_OK;
char mutexOfApplication = 0;

CK_RV CreateMutex(CK_VOID_PTR_PTR mutex)
{
    calls.push_back({"create", mutex});
    *mutex = &mutexOfApplication;
    return answer;
}

CK_RV DestroyMutex(CK_VOID_PTR mutex)
{
    calls.push_back({"destroy", mutex});
    return answer;
}

CK_RV LockMutex(CK_VOID_PTR mutex)
{
    calls.push_back({"lock", mutex});
    return answer;
}

CK_RV UnlockMutex(CK_VOID_PTR mutex)
{
    calls.push_back({"unlock", mutex});
    return answer;
}

CK_C_INITIALIZE_ARGS ArgumentsWithCallbacks()
{
    CK_C_INITIALIZE_ARGS arguments{};
    arguments.CreateMutex = CreateMutex;
    arguments.DestroyMutex = DestroyMutex;
    arguments.LockMutex = LockMutex;
    arguments.UnlockMutex = UnlockMutex;
    return arguments;
}

// Back to what a process begins with.
void ForgetCallbacks()
{
    auto& application = ApplicationMutex::Instance();
    application.createMutex = nullptr;
    application.destroyMutex = nullptr;
    application.lockMutex = nullptr;
    application.unlockMutex = nullptr;
    application.mutex = nullptr;
}

class ApplicationMutexTest : public testing::Test
{
protected:
    ApplicationMutexTest()
    {
        calls.clear();
        answer = CKR_OK;
    }
    ~ApplicationMutexTest() override { ForgetCallbacks(); }
};

using LibraryLockGuardTest = ApplicationMutexTest;

} // namespace

TEST(LibraryLock, CanBeLockedAndUnlockedInTurn)
{
    LibraryLock lock;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(ErrorOf([&] { lock.Lock(); }), std::error_code());
        EXPECT_EQ(ErrorOf([&] { lock.Unlock(); }), std::error_code());
    }
}

TEST(LibraryLock, SecondLockOfAThreadIsADeadlock)
{
    LibraryLock lock;
    lock.Lock();
    EXPECT_EQ(ErrorOf([&] { lock.Lock(); }), deadlock);
    EXPECT_EQ(ErrorOf([&] { lock.Lock(); }), deadlock);
    lock.Unlock();
    EXPECT_EQ(ErrorOf([&] { lock.Lock(); }), std::error_code());
    lock.Unlock();
}

// Had the mark not been tested first, the other thread would wait on the mutex.
TEST(LibraryLock, LockOfAnotherThreadIsADeadlockWithoutWaiting)
{
    LibraryLock lock;
    lock.Lock();
    std::atomic<bool> answered{false};
    std::error_code error;
    std::thread other([&] {
        error = ErrorOf([&] { lock.Lock(); });
        answered = true;
    });
    for (int i = 0; i < 20000 && !answered; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    const bool atOnce = answered;
    lock.Unlock(); // lets the other thread end in any case
    other.join();
    EXPECT_TRUE(atOnce);
    EXPECT_EQ(error, deadlock);
}

TEST(LibraryLock, UnlockWithoutTheMarkIsNotPermitted)
{
    LibraryLock lock;
    EXPECT_EQ(ErrorOf([&] { lock.Unlock(); }), notPermitted);
    lock.Lock();
    lock.Unlock();
    EXPECT_EQ(ErrorOf([&] { lock.Unlock(); }), notPermitted);
}

TEST(LibraryLock, CanEndWhileItIsOwned)
{
    auto lock = std::make_unique<LibraryLock>();
    lock->Lock();
    EXPECT_NO_THROW(lock = nullptr);
}

TEST_F(LibraryLockGuardTest, HoldsTheLockAsLongAsItLives)
{
    {
        const LibraryLockGuard guard;
        EXPECT_EQ(ErrorOf([] { const LibraryLockGuard second; }), deadlock);
    }
    EXPECT_EQ(ErrorOf([] { const LibraryLockGuard again; }), std::error_code());
}

TEST_F(LibraryLockGuardTest, SharesOneLockBetweenThreads)
{
    const LibraryLockGuard guard;
    std::error_code error;
    std::thread([&error] { error = ErrorOf([] { const LibraryLockGuard second; }); }).join();
    EXPECT_EQ(error, deadlock);
}

TEST_F(LibraryLockGuardTest, IsReleasedByAnException)
{
    EXPECT_THROW(
        {
            const LibraryLockGuard guard;
            throw 1;
        },
        int);
    EXPECT_EQ(ErrorOf([] { const LibraryLockGuard again; }), std::error_code());
}

TEST_F(LibraryLockGuardTest, CallsTheApplicationWithItsMutex)
{
    ApplicationMutex::Instance().Create(ArgumentsWithCallbacks());
    calls.clear();
    {
        const LibraryLockGuard guard;
        EXPECT_EQ(calls, (std::vector<Call>{{"lock", &mutexOfApplication}}));
    }
    EXPECT_EQ(calls, (std::vector<Call>{{"lock", &mutexOfApplication}, {"unlock", &mutexOfApplication}}));
}

TEST_F(LibraryLockGuardTest, IgnoresWhatTheApplicationAnswers)
{
    ApplicationMutex::Instance().Create(ArgumentsWithCallbacks());
    answer = CKR_MUTEX_BAD;
    EXPECT_EQ(ErrorOf([] { const LibraryLockGuard guard; }), std::error_code());
}

TEST_F(LibraryLockGuardTest, LeavesTheOwnLockAloneWhenTheApplicationHasCallbacks)
{
    ApplicationMutex::Instance().Create(ArgumentsWithCallbacks());
    const LibraryLockGuard first;
    EXPECT_EQ(ErrorOf([] { const LibraryLockGuard second; }), std::error_code());
}

TEST_F(LibraryLockGuardTest, CallsTheApplicationWithoutAMutexAfterItsDestruction)
{
    ApplicationMutex::Instance().Create(ArgumentsWithCallbacks());
    ApplicationMutex::Instance().Destroy();
    calls.clear();
    {
        const LibraryLockGuard guard;
    }
    EXPECT_EQ(calls, (std::vector<Call>{{"lock", nullptr}, {"unlock", nullptr}}));
}

TEST_F(LibraryLockGuardTest, EndWithoutTheMarkIsNotPermitted)
{
    auto& application = ApplicationMutex::Instance();
    application.Create(ArgumentsWithCallbacks());
    const auto error = ErrorOf([] {
        const LibraryLockGuard guard; // through the application, so that the mark stays clear
        ForgetCallbacks();
    });
    EXPECT_EQ(error, notPermitted);
}

TEST_F(LibraryLockGuardTest, EndCallsCallbacksThatWereGivenMeanwhile)
{
    EXPECT_EQ(ErrorOf([] {
                  const LibraryLockGuard guard;
                  ApplicationMutex::Instance().Create(ArgumentsWithCallbacks());
              }),
              std::error_code());
    EXPECT_EQ(calls.back(), (Call{"unlock", &mutexOfApplication}));
    // The own lock is still owned: it is seen to when the callbacks are gone.
    ForgetCallbacks();
    EXPECT_EQ(ErrorOf([] { const LibraryLockGuard guard; }), deadlock);
    ApplicationMutex::Instance().lockMutex = LockMutex;
    EXPECT_EQ(ErrorOf([] { const LibraryLockGuard guard; }), std::error_code());
    ForgetCallbacks();
    EXPECT_EQ(ErrorOf([] { const LibraryLockGuard guard; }), std::error_code());
}

TEST_F(ApplicationMutexTest, BeginsWithoutCallbacksAndMutex)
{
    const ApplicationMutex mutex;
    EXPECT_EQ(mutex.createMutex, nullptr);
    EXPECT_EQ(mutex.destroyMutex, nullptr);
    EXPECT_EQ(mutex.lockMutex, nullptr);
    EXPECT_EQ(mutex.unlockMutex, nullptr);
    EXPECT_EQ(mutex.mutex, nullptr);
}

TEST_F(ApplicationMutexTest, CreateStoresTheCallbacksAndHasTheMutexMade)
{
    ApplicationMutex mutex;
    mutex.Create(ArgumentsWithCallbacks());
    EXPECT_EQ(mutex.createMutex, CreateMutex);
    EXPECT_EQ(mutex.destroyMutex, DestroyMutex);
    EXPECT_EQ(mutex.lockMutex, LockMutex);
    EXPECT_EQ(mutex.unlockMutex, UnlockMutex);
    EXPECT_EQ(calls, (std::vector<Call>{{"create", &mutex.mutex}}));
    EXPECT_EQ(mutex.mutex, &mutexOfApplication);
}

TEST_F(ApplicationMutexTest, CreateIgnoresWhatTheApplicationAnswers)
{
    answer = CKR_MUTEX_BAD;
    ApplicationMutex mutex;
    EXPECT_NO_THROW(mutex.Create(ArgumentsWithCallbacks()));
    EXPECT_EQ(mutex.mutex, &mutexOfApplication);
}

TEST_F(ApplicationMutexTest, CreateWithoutCallbacksStoresAndMakesNothing)
{
    ApplicationMutex mutex;
    mutex.Create(CK_C_INITIALIZE_ARGS{});
    EXPECT_EQ(mutex.lockMutex, nullptr);
    EXPECT_TRUE(calls.empty());
}

TEST_F(ApplicationMutexTest, CreateWithoutCallbacksUsesThoseOfAnEarlierRun)
{
    ApplicationMutex mutex;
    mutex.Create(ArgumentsWithCallbacks());
    mutex.Destroy();
    calls.clear();
    mutex.Create(CK_C_INITIALIZE_ARGS{});
    EXPECT_EQ(calls, (std::vector<Call>{{"create", &mutex.mutex}}));
    EXPECT_EQ(mutex.mutex, &mutexOfApplication);
}

TEST_F(ApplicationMutexTest, DestroyEndsTheMutexAndKeepsTheCallbacks)
{
    ApplicationMutex mutex;
    mutex.Create(ArgumentsWithCallbacks());
    calls.clear();
    mutex.Destroy();
    EXPECT_EQ(calls, (std::vector<Call>{{"destroy", &mutexOfApplication}}));
    EXPECT_EQ(mutex.mutex, nullptr);
    EXPECT_EQ(mutex.lockMutex, LockMutex);
    EXPECT_EQ(mutex.createMutex, CreateMutex);
}

TEST_F(ApplicationMutexTest, DestroyCallsNoCallbackWithoutAMutex)
{
    ApplicationMutex mutex;
    mutex.destroyMutex = DestroyMutex;
    mutex.Destroy();
    EXPECT_TRUE(calls.empty());
}

TEST_F(ApplicationMutexTest, DestroyForgetsTheMutexWithoutACallback)
{
    ApplicationMutex mutex;
    mutex.mutex = &mutexOfApplication;
    mutex.Destroy();
    EXPECT_EQ(mutex.mutex, nullptr);
    EXPECT_TRUE(calls.empty());
}
