// The library leaves a process that goes on.
#include "tests/support/black_box_test.h"
#include "tests/support/loaded_library.h"
#include "tests/support/system.h"

namespace blackbox {
namespace {

class UnloadTest : public ::testing::Test
{
protected:
    UnloadTest()
    {
        script->SetLogSwitches(scripted::LogSwitches{.toConsole = false});
        script->Always("Finalize", {.hook = [this] { ++finalizeCalls; }});
    }

    static std::filesystem::path LibraryFile() { return ScriptedFolder() / LibraryFileName("pkcs11_x64"); }

    ScriptedCard* script = Script();
    int finalizeCalls = 0;
};

TEST_F(UnloadTest, LoadingAloneMakesNoCardCall)
{
    LoadedLibrary library(LibraryFile());
    EXPECT_EQ(script->AllCalls().size(), 0U);
}

TEST_F(UnloadTest, UnloadingWhileInitialisedStopsTheThreadAndDoesNotFinalizeTheCardSide)
{
    script->AddReader(readerA, Card{});
    LoadedLibrary library(LibraryFile());
    ASSERT_EQ(library.f->C_Initialize(nullptr), CKR_OK);
    library.Unload();
    EXPECT_FALSE(library.IsInMemory());
    script->ForgetCalls();
    script->InsertCard(readerB, Card{});
    EXPECT_FALSE(script->WaitUntilEventsProcessed(std::chrono::milliseconds(100))) << "no wait goes on";
    EXPECT_EQ(script->AllCalls().size(), 0U);
    EXPECT_EQ(finalizeCalls, 0);
    EXPECT_EQ(script->Ledger().front().closes, 0) << "the store is not emptied";
}

TEST_F(UnloadTest, UnloadingWaitsForTheRunningWait)
{
    script->SetLongestWait(std::chrono::milliseconds(300));
    LoadedLibrary library(LibraryFile());
    ASSERT_EQ(library.f->C_Initialize(nullptr), CKR_OK);
    ASSERT_TRUE(HasBegunWaits(1));
    library.Unload();
    EXPECT_FALSE(library.IsInMemory());
}

TEST_F(UnloadTest, UnloadingAfterFinalizeMakesNoFurtherCardCall)
{
    script->AddReader(readerA, Card{});
    LoadedLibrary library(LibraryFile());
    ASSERT_EQ(library.f->C_Initialize(nullptr), CKR_OK);
    ASSERT_EQ(library.f->C_Finalize(nullptr), CKR_OK);
    script->ForgetCalls();
    library.Unload();
    EXPECT_FALSE(library.IsInMemory());
    EXPECT_EQ(script->AllCalls().size(), 0U);
    EXPECT_EQ(finalizeCalls, 1);
}

TEST_F(UnloadTest, LibraryCanBeLoadedAgainAndStartsAfresh)
{
    script->AddReader(readerA, Card{});
    for (int run = 0; run < 2; ++run) {
        LoadedLibrary library(LibraryFile());
        ASSERT_EQ(library.f->C_Initialize(nullptr), CKR_OK);
        CK_SLOT_ID slots[2] = {};
        CK_ULONG count = 2;
        ASSERT_EQ(library.f->C_GetSlotList(CK_TRUE, slots, &count), CKR_OK);
        EXPECT_EQ(slots[0], 1U);
        library.Unload();
        EXPECT_FALSE(library.IsInMemory());
    }
}

} // namespace
} // namespace blackbox
