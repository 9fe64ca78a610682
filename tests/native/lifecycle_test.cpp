#include "child_process.h"
#include "front_test.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include <dlfcn.h>
#include <unistd.h>

namespace FrontTests {
namespace {

class LifecycleTest : public FrontTest
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

TEST_F(LifecycleTest, StartsAndEndsAgainAndAgain)
{
    EXPECT_EQ(f->C_Finalize(nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
        EXPECT_EQ(f->C_Initialize(nullptr), CKR_CRYPTOKI_ALREADY_INITIALIZED);
        EXPECT_EQ(f->C_Finalize(&f), CKR_ARGUMENTS_BAD);
        ASSERT_EQ(f->C_Finalize(nullptr), CKR_OK);
    }
}

TEST_F(LifecycleTest, ArgumentsAreTested)
{
    CK_C_INITIALIZE_ARGS arguments{};
    arguments.pReserved = &arguments;
    EXPECT_EQ(f->C_Initialize(&arguments), CKR_ARGUMENTS_BAD);
    arguments.pReserved = nullptr;
    arguments.LockMutex = [](CK_VOID_PTR) { return CK_RV{CKR_OK}; };
    EXPECT_EQ(f->C_Initialize(&arguments), CKR_ARGUMENTS_BAD);
    arguments.LockMutex = nullptr;
    arguments.flags = CKF_LIBRARY_CANT_CREATE_OS_THREADS;
    EXPECT_EQ(f->C_Initialize(&arguments), CKR_NEED_TO_CREATE_THREADS);
    arguments.flags = CKF_OS_LOCKING_OK;
    EXPECT_EQ(f->C_Initialize(&arguments), CKR_OK);
    EXPECT_EQ(f->C_GetInfo(nullptr), CKR_ARGUMENTS_BAD);
}

TEST_F(LifecycleTest, SessionsDoNotOutliveTheFront)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    ASSERT_EQ(f->C_Finalize(nullptr), CKR_OK);
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(f->C_CloseSession(session), CKR_SESSION_HANDLE_INVALID);
}

TEST_F(LifecycleTest, ChildStartsAnewAndTheParentGoesOn)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    ASSERT_EQ(Login(session), CKR_OK);
    const int exitCode = BlackBox::ExitOfChild([&] {
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
}

TEST_F(LifecycleTest, ChildThatDoesNothingEndsAtOnce)
{
    // A card without keys: Botan, which the test makes keys with, waits at the end for threads that no child
    // has.
    script->AddReader(readerA, Scripted::Card{});
    Start();
    EXPECT_EQ(BlackBox::ExitOfChild([] {}), 0);
    EXPECT_EQ(Slots().size(), 2U);
}

TEST_F(LifecycleTest, UnloadingLeavesNoThreadBehind)
{
    void* handle = nullptr;
    LoadFront(LibraryFolder() / "scripted", &handle);
    dlclose(handle); // the fixture's stays
    script->AddReader(readerA, Scripted::Card{});
    const auto before = ThreadsOfProcess();
    Start();
    Open(qualified);
    EXPECT_GT(ThreadsOfProcess(), before);
    dlclose(handle);
    EXPECT_EQ(ThreadsOfProcess(), before);
    EXPECT_FALSE(IsMapped("tavrik-pkcs11.so"));
    EXPECT_FALSE(IsMapped("libpkcs11_x64.so"));
    f = LoadFront(LibraryFolder() / "scripted");
    Start();
    EXPECT_EQ(Slots().size(), 2U);
}

TEST_F(LifecycleTest, ExportsNothingButTheFunctions)
{
    const std::string command = "nm -D --defined-only '" + (LibraryFolder() / "tavrik-pkcs11.so").string() +
                                "' | grep -vc ' [TW] C_' || true";
    EXPECT_EQ(BlackBox::OutputOf(command), "0\n");
    EXPECT_EQ(f->version.major, 2);
    EXPECT_EQ(f->version.minor, 20);
}

TEST_F(LifecycleTest, FrontWithoutItsLibraryDoesNotStart)
{
    std::string pattern = (std::filesystem::temp_directory_path() / "tavrik_alone_XXXXXX").string();
    const std::filesystem::path folder = mkdtemp(pattern.data());
    std::filesystem::copy_file(LibraryFolder() / "tavrik-pkcs11.so", folder / "tavrik-pkcs11.so");
    EXPECT_EQ(LoadFront(folder)->C_Initialize(nullptr), CKR_GENERAL_ERROR);
    std::filesystem::remove_all(folder);
}

TEST_F(LifecycleTest, LinkedFrontFindsItsLibraryWhereItLies)
{
    std::string pattern = (std::filesystem::temp_directory_path() / "tavrik_link_XXXXXX").string();
    const std::filesystem::path folder = mkdtemp(pattern.data());
    std::filesystem::create_directory(folder / "real");
    std::filesystem::copy_file(LibraryFolder() / "tavrik-pkcs11.so", folder / "real" / "tavrik-pkcs11.so");
    std::filesystem::create_symlink(LibraryFolder() / "scripted" / "libpkcs11_x64.so",
                                    folder / "real" / "libpkcs11_x64.so");
    std::filesystem::create_symlink(LibraryFolder() / "scripted" / "libCardAPI.so",
                                    folder / "real" / "libCardAPI.so");
    std::filesystem::create_symlink("real/tavrik-pkcs11.so", folder / "tavrik-pkcs11.so");
    CK_FUNCTION_LIST* linked = LoadFront(folder);
    EXPECT_EQ(linked->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(linked->C_Finalize(nullptr), CKR_OK);
    std::filesystem::remove_all(folder);
}

} // namespace
} // namespace FrontTests
