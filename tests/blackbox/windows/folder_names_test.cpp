// Folders whose names the code page does not have.
#include "tests/support/black_box_test.h"
#include "tests/support/loaded_library.h"
#include "tests/support/log_host.h"
#include "tests/support/system.h"

namespace blackbox {
namespace {

const std::u16string foreignName = u"\u017dlu\u0165ou\u010dk\u00fd \u043a\u043e\u043d\u044c";

class FolderNamesTest : public BlackBoxTest
{
protected:
    std::filesystem::path ForeignFolder() const
    {
        auto folder = Directory() / std::filesystem::path(foreignName);
        std::filesystem::create_directory(folder);
        return folder;
    }
};

TEST_F(FolderNamesTest, ConfigurationAndLogWorkThere)
{
    const auto folder = ForeignFolder();
    script->SetDirectories(folder.u16string() + u"/", folder.u16string() + u"/");
    WriteFile(folder / "config.json", R"({"log": {"logFromLevel": "LogLevel_Debug"}})");
    Initialize();
    EXPECT_NE(ReadFile(folder / "Pkcs11.log").find("Going to initialize Internal cache"), std::string::npos);
}

TEST_F(FolderNamesTest, FullLogIsRetiredThere)
{
    const auto folder = ForeignFolder();
    script->SetDirectories(folder.u16string() + u"/", folder.u16string() + u"/");
    WriteFile(folder / "Pkcs11.log", std::string(2097153, 'x'));
    Initialize();
    EXPECT_EQ(std::filesystem::file_size(folder / "Pkcs11_1.log"), 2097153U);
    EXPECT_TRUE(ReadFile(folder / "Pkcs11.log").starts_with("CardAPI, version: "));
}

TEST_F(FolderNamesTest, LibraryFindsItsCardAccessLibraryThere)
{
    const auto folder = ForeignFolder();
    for (const char* stem : {"pkcs11_x64", "CardAPI"}) {
        std::filesystem::copy_file(ScriptedFolder() / LibraryFileName(stem), folder / LibraryFileName(stem));
    }
    LoadedLibrary library(folder / LibraryFileName("pkcs11_x64"));
    EXPECT_EQ(library.f->C_Initialize(nullptr), CKR_OK);
    EXPECT_NE(LoadedFrom(folder / LibraryFileName("CardAPI")), nullptr);
    EXPECT_EQ(library.f->C_Finalize(nullptr), CKR_OK);
}

} // namespace
} // namespace blackbox
