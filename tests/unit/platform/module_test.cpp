#include "src/platform/platform.h"

#include "tests/support/thrown.h"

#include <gtest/gtest.h>

TEST(ModuleDirectory, IsTheFolderOfTheFileThatHoldsTheCode)
{
    const auto program = std::filesystem::read_symlink("/proc/self/exe");
    EXPECT_EQ(std::filesystem::canonical(Platform::ModuleDirectory()), program.parent_path());
}

TEST(ModuleDirectory, HasNoSeparatorAtItsEnd)
{
    EXPECT_TRUE(Platform::ModuleDirectory().has_filename());
}

TEST(LibraryFileName, WrapsTheStem)
{
    EXPECT_EQ(Platform::LibraryFileName("CardAPI"), "libCardAPI.so");
}

TEST(LoadSharedLibrary, NamesTheFileThatIsMissing)
{
    const auto reason = ReasonOf([] { Platform::LoadSharedLibrary("/nowhere/libmissing.so"); });
    EXPECT_NE(reason.find("/nowhere/libmissing.so"), std::string::npos) << reason;
}

TEST(LoadSharedLibrary, LoadsAndFindsSymbols)
{
    void* library = Platform::LoadSharedLibrary("libCardAPI.so");
    ASSERT_NE(library, nullptr);
    EXPECT_NE(Platform::FindSymbol(library, "CardAPI_Initialize"), nullptr);
}

TEST(FindSymbol, NamesTheSymbolThatIsMissing)
{
    void* library = Platform::LoadSharedLibrary("libCardAPI.so");
    const auto reason = ReasonOf([&] { Platform::FindSymbol(library, "CardAPI_Missing"); });
    EXPECT_NE(reason.find("CardAPI_Missing"), std::string::npos) << reason;
}

TEST(ExecutableName, IsTheFileNameOfTheProgram)
{
    EXPECT_EQ(Platform::ExecutableName(), "unit_tests");
}
