#include "softcard/system/windows/local_memory.h"
#include "tests/tools/tavrik-setup/careful_file_fixture.h"
#include "tools/tavrik-setup/files/system/windows/folder_rights.h"

#include <string>

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

using namespace setup;
namespace fs = std::filesystem;

namespace {

// Gives the folder these rights alone, in Windows' notation.
void Permit(const fs::path& folder, const wchar_t* rights)
{
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_TRUE(
        ConvertStringSecurityDescriptorToSecurityDescriptorW(rights, SDDL_REVISION_1, &descriptor, nullptr));
    const softcard::LocalMemory<void> owner(descriptor);
    const BOOL isSet = SetFileSecurityW(folder.c_str(), DACL_SECURITY_INFORMATION, descriptor);
    EXPECT_TRUE(isSet);
}

} // namespace

TEST_F(CarefulFile, RefusesWhatIsNoRegularFile)
{
    fs::create_directory(file);
    EXPECT_THROW(static_cast<void>(ReadIfThere(file)), Refusal);
    EXPECT_THROW(static_cast<void>(ReadIfThere(folder.Path() / "NUL")), Refusal);
}

TEST_F(CarefulFile, SaysWhereItMayNotBeWritten)
{
    EXPECT_NO_THROW(RequireWritable(file));
    EXPECT_NO_THROW(RequireWritable(folder.Path() / "no" / "folder" / "yet"));
    EXPECT_THROW(RequireWritable("Y:\\no\\drive"), Refusal);
}

TEST_F(CarefulFile, RefusesFoldersThatOthersCanWriteTo)
{
    Write(file, "before");
    EXPECT_TRUE(BelongsToTrusted(folder.Path()));
    EXPECT_FALSE(OthersCanWrite(folder.Path()));
    Permit(folder.Path(), L"D:P(A;OICI;FA;;;WD)"); // everybody
    EXPECT_TRUE(OthersCanWrite(folder.Path()));
    EXPECT_THROW(static_cast<void>(ReadIfThere(file)), Refusal);
    EXPECT_THROW(ReplaceContent(file, "before", "after", Readers::owner), Refusal);
    EXPECT_THROW(static_cast<void>(MakeFolders(folder.Path() / "a", Readers::owner)), Refusal);
}
