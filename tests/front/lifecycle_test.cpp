#include "tests/front/every_call.h"
#include "tests/front/front_test.h"
#include "tests/support/script.h"
#include "tests/support/system.h"
#include "tests/support/temporary_folder.h"

namespace front_test {
namespace {

using LifecycleTest = FrontTest;

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

TEST_F(LifecycleTest, NoCallWorksBeforeTheStartOrAfterTheEnd)
{
    for (int i = 0; i < 2; ++i) {
        CK_ULONG count = 0;
        EXPECT_EQ(f->C_GetSlotList(CK_TRUE, nullptr, &count), CKR_CRYPTOKI_NOT_INITIALIZED);
        CK_SLOT_ID slot = 0;
        EXPECT_EQ(f->C_WaitForSlotEvent(0, &slot, nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
        for (const auto& calls : {EveryCallWithASlot(f, 0), EveryCallWithASession(f, 1)}) {
            for (const NamedCall& call : calls) {
                EXPECT_EQ(call.make(), CKR_CRYPTOKI_NOT_INITIALIZED) << call.name;
            }
        }
        Start();
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
    arguments.flags = CKF_OS_LOCKING_OK;
    EXPECT_EQ(f->C_Initialize(&arguments), CKR_OK);
    EXPECT_EQ(f->C_GetInfo(nullptr), CKR_ARGUMENTS_BAD);
}

TEST_F(LifecycleTest, HostThatForbidsThreadsCanStillInitialize)
{
    CK_C_INITIALIZE_ARGS arguments{};
    arguments.flags = CKF_LIBRARY_CANT_CREATE_OS_THREADS | CKF_OS_LOCKING_OK; // as p11-kit has it
    EXPECT_EQ(f->C_Initialize(&arguments), CKR_OK);
}

TEST_F(LifecycleTest, SessionsDoNotOutliveTheFront)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    ASSERT_EQ(f->C_Finalize(nullptr), CKR_OK);
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(f->C_CloseSession(session), CKR_SESSION_HANDLE_INVALID);
    EXPECT_NE(Open(qualified), session) << "no handle comes twice";
}

TEST_F(LifecycleTest, ExportsNothingButTheFunctions)
{
    const std::string names =
        "nm -D --defined-only '" + (LibraryFolder() / "tavrik-pkcs11.so").string() + "' | grep ";
    EXPECT_EQ(blackbox::OutputOf(names + "-c ' [TW] C_'"), "68\n");
    EXPECT_EQ(blackbox::OutputOf(names + "-vc ' [TW] C_' || true"), "0\n");
    EXPECT_EQ(f->version.major, 2);
    EXPECT_EQ(f->version.minor, 20);
}

TEST_F(LifecycleTest, FrontWithoutItsLibraryDoesNotStart)
{
    const TemporaryFolder folder("tavrik_alone_");
    std::filesystem::copy_file(LibraryFolder() / "tavrik-pkcs11.so", folder.Path() / "tavrik-pkcs11.so");
    EXPECT_EQ(LoadFront(folder.Path())->C_Initialize(nullptr), CKR_GENERAL_ERROR);
}

TEST_F(LifecycleTest, LibraryThatTheHostHasInitializedIsNotUsed)
{
    void* library = blackbox::Load(blackbox::ScriptedFolder() / "libpkcs11_x64.so");
    using Initialize = packed::CK_RV(packed::CK_VOID_PTR);
    ASSERT_EQ(reinterpret_cast<Initialize*>(blackbox::SymbolOf(library, "C_Initialize"))(nullptr), CKR_OK);
    EXPECT_EQ(f->C_Initialize(nullptr), CKR_GENERAL_ERROR);
    EXPECT_EQ(f->C_Finalize(nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
    ASSERT_EQ(reinterpret_cast<Initialize*>(blackbox::SymbolOf(library, "C_Finalize"))(nullptr), CKR_OK);
    EXPECT_EQ(f->C_Initialize(nullptr), CKR_OK);
    blackbox::Unload(library);
}

// A front and what it needs in a folder of their own.
class FolderOfItsOwn
{
public:
    explicit FolderOfItsOwn(const std::string& frontFolder)
    {
        const auto real = folder.Path() / frontFolder;
        std::filesystem::create_directories(real);
        std::filesystem::copy_file(LibraryFolder() / "tavrik-pkcs11.so", real / "tavrik-pkcs11.so");
        for (const char* name : {"libpkcs11_x64.so", "libCardAPI.so"}) {
            std::filesystem::create_symlink(blackbox::ScriptedFolder() / name, real / name);
        }
    }

    const std::filesystem::path& Path() const { return folder.Path(); }

private:
    TemporaryFolder folder{"tavrik_folder_"};
};

TEST_F(LifecycleTest, LinkedFrontFindsTheLibraryBesideItsFile)
{
    const FolderOfItsOwn folder("real");
    std::filesystem::create_symlink("real/tavrik-pkcs11.so", folder.Path() / "tavrik-pkcs11.so");
    CK_FUNCTION_LIST* linked = LoadFront(folder.Path());
    EXPECT_EQ(linked->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(linked->C_Finalize(nullptr), CKR_OK);
}

TEST_F(LifecycleTest, FrontLoadedByARelativePathFindsItsLibraryAfterAChangeOfFolder)
{
    const FolderOfItsOwn folder("");
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path());
    CK_FUNCTION_LIST* loaded = LoadFront(".");
    std::filesystem::current_path(before);
    EXPECT_EQ(loaded->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(loaded->C_Finalize(nullptr), CKR_OK);
}

} // namespace
} // namespace front_test
