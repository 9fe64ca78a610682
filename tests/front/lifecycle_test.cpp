#include "tests/front/every_call.h"
#include "tests/front/front_test.h"
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
        for (const auto& calls : {EveryCallWithASlot(f3, 0), EveryCallWithASession(f3, 1)}) {
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
    const auto exported = blackbox::ExportedSymbols(FrontIn(LibraryFolder()));
    EXPECT_EQ(exported.size(), 92U);
    for (const std::string& name : exported) {
        EXPECT_TRUE(name.starts_with("C_")) << name;
    }
    EXPECT_EQ(f->version.major, 2);
    EXPECT_EQ(f->version.minor, 20);
}

TEST_F(LifecycleTest, FrontWithoutItsLibraryDoesNotStart)
{
    const TemporaryFolder folder("tavrik_alone_");
    std::filesystem::copy_file(FrontIn(LibraryFolder()), FrontIn(folder.Path()));
    EXPECT_EQ(LoadFront(folder.Path())->C_Initialize(nullptr), CKR_GENERAL_ERROR);
}

TEST_F(LifecycleTest, LibraryThatTheHostHasInitializedIsNotUsed)
{
    void* library = blackbox::Load(ScriptedLibrary());
    using Initialize = packed::CK_RV(packed::CK_VOID_PTR);
    ASSERT_EQ(reinterpret_cast<Initialize*>(blackbox::SymbolOf(library, "C_Initialize"))(nullptr), CKR_OK);
    EXPECT_EQ(f->C_Initialize(nullptr), CKR_GENERAL_ERROR);
    EXPECT_EQ(f->C_Finalize(nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
    ASSERT_EQ(reinterpret_cast<Initialize*>(blackbox::SymbolOf(library, "C_Finalize"))(nullptr), CKR_OK);
    EXPECT_EQ(f->C_Initialize(nullptr), CKR_OK);
    blackbox::Unload(library);
}

} // namespace
} // namespace front_test
