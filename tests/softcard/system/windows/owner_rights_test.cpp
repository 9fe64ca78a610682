#include "softcard/system/windows/owner_rights.h"

#include "softcard/system/files.h"
#include "softcard/system/windows/handle.h"
#include "softcard/system/windows/local_memory.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/system/windows/wine.h"

#include <algorithm>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <aclapi.h>
#include <sddl.h>

using namespace softcard;
using namespace softcard::test;

namespace {

namespace fs = std::filesystem;

// As Windows numbers them; clang-tidy takes the names, with their suffixes, for literals of ours.
constexpr SECURITY_INFORMATION ownerPart = 1;
constexpr SECURITY_INFORMATION listPart = 4;
constexpr ACCESS_MASK allAccess = 0x1F01FF;

// One entry of a list of access rights.
struct Entry
{
    BYTE type;
    BYTE flags;
    ACCESS_MASK access;
    std::wstring user;

    bool operator==(const Entry&) const = default;
};

void PrintTo(const Entry& entry, std::ostream* stream)
{
    *stream << int{entry.type} << ' ' << int{entry.flags} << ' ' << std::hex << entry.access << std::dec
            << ' ' << fs::path(entry.user).string();
}

struct Rights
{
    std::wstring owner;
    bool isProtected;
    std::vector<Entry> entries;
};

std::wstring TextOf(PSID user)
{
    wchar_t* text = nullptr;
    if (ConvertSidToStringSidW(user, &text) == FALSE) {
        throw std::runtime_error("a user has no text");
    }
    return LocalMemory<wchar_t>(text).get();
}

std::vector<Entry> EntriesOf(PACL list)
{
    std::vector<Entry> entries;
    for (DWORD i = 0; i < list->AceCount; ++i) {
        void* entry = nullptr;
        if (GetAce(list, i, &entry) == FALSE) {
            throw std::runtime_error("an entry is missing");
        }
        auto* const allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        entries.push_back(
            {allowed->Header.AceType, allowed->Header.AceFlags, allowed->Mask, TextOf(&allowed->SidStart)});
    }
    return entries;
}

Rights RightsOf(PSECURITY_DESCRIPTOR descriptor)
{
    PSID owner = nullptr;
    PACL list = nullptr;
    BOOL isThere = FALSE;
    BOOL ignored = FALSE;
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    if (GetSecurityDescriptorOwner(descriptor, &owner, &ignored) == FALSE ||
        GetSecurityDescriptorControl(descriptor, &control, &revision) == FALSE ||
        GetSecurityDescriptorDacl(descriptor, &isThere, &list, &ignored) == FALSE || isThere == FALSE ||
        list == nullptr) {
        throw std::runtime_error("there are no rights");
    }
    return {TextOf(owner), (control & SE_DACL_PROTECTED) != 0, EntriesOf(list)};
}

Rights RightsAt(const fs::path& path)
{
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error = GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT, ownerPart | listPart, nullptr,
                                              nullptr, nullptr, nullptr, &descriptor);
    const LocalMemory<void> owner(descriptor);
    if (error != ERROR_SUCCESS) {
        throw std::runtime_error("the rights cannot be read: " + path.string());
    }
    return RightsOf(descriptor);
}

std::wstring OwnUser()
{
    HANDLE opened = nullptr;
    EXPECT_NE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened), FALSE);
    const Handle token = Own(opened);
    alignas(TOKEN_USER) char memory[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    DWORD size = 0;
    EXPECT_NE(GetTokenInformation(token.get(), TokenUser, memory, sizeof memory, &size), FALSE);
    return TextOf(reinterpret_cast<TOKEN_USER*>(memory)->User.Sid);
}

constexpr BYTE forAllThatIsInIt = OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE;
constexpr const wchar_t* system = L"S-1-5-18";

void ExpectTheUsersAlone(const Rights& rights, BYTE flags)
{
    EXPECT_EQ(rights.owner, OwnUser());
    EXPECT_TRUE(rights.isProtected) << "rights come from the folder above";
    EXPECT_EQ(rights.entries, (std::vector<Entry>{{ACCESS_ALLOWED_ACE_TYPE, flags, allAccess, OwnUser()}}));
}

// Wine keeps rights as the modes of files: of an entry it keeps whether it is the user's own or everybody's, it has
// one for SYSTEM at all times, and it does not tell what is protected.
void ExpectPrivate(const fs::path& path)
{
    SCOPED_TRACE(path.string());
    const Rights rights = RightsAt(path);
    if (!RunsUnderWine()) {
        ExpectTheUsersAlone(rights, fs::is_directory(path) ? forAllThatIsInIt : 0);
        return;
    }
    EXPECT_EQ(rights.owner, OwnUser());
    for (const Entry& entry : rights.entries) {
        EXPECT_TRUE(entry.user == OwnUser() || entry.user == system) << fs::path(entry.user).string();
    }
}

void OpenToEverybody(const fs::path& path)
{
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_NE(ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;;FA;;;WD)", SDDL_REVISION_1,
                                                                   &descriptor, nullptr),
              FALSE);
    const LocalMemory<void> owner(descriptor);
    ASSERT_NE(SetFileSecurityW(path.c_str(), listPart, descriptor), FALSE);
}

bool IsOpenToEverybody(const fs::path& path)
{
    const std::vector<Entry> entries = RightsAt(path).entries;
    return std::any_of(entries.begin(), entries.end(),
                       [](const Entry& entry) { return entry.user != OwnUser() && entry.user != system; });
}

TEST(OwnerRights, AreTheUsersAloneAndInheritNothing)
{
    ExpectTheUsersAlone(RightsOf(OwnFileRights("file").lpSecurityDescriptor), 0);
    ExpectTheUsersAlone(RightsOf(OwnFolderRights("folder").lpSecurityDescriptor), forAllThatIsInIt);
}

TEST(OwnerRights, AreThoseOfAllThatTheStoreMakes)
{
    const TemporaryHome home;
    ExpectPrivate(home.Folder());
    EnsurePrivateFolder(home.Folder() / "above/below");
    ExpectPrivate(home.Folder() / "above");
    ExpectPrivate(home.Folder() / "above/below");
    WriteFileAtomically(home.Folder() / "written", "");
    ExpectPrivate(home.Folder() / "written");
    AppendToFile(home.Folder() / "appended", "");
    ExpectPrivate(home.Folder() / "appended");
    const FileLock lock(home.Folder() / "lock");
    ExpectPrivate(home.Folder() / "lock");
}

// What lies where the new content goes may be of whoever was killed there.
TEST(OwnerRights, AreThoseOfAFileThatIsWrittenAnew)
{
    const TemporaryHome home;
    for (const char* name : {"file", ".file.new"}) {
        WriteText(home.Folder() / name, "of somebody else");
        OpenToEverybody(home.Folder() / name);
    }
    WriteFileAtomically(home.Folder() / "file", "content");
    EXPECT_EQ(ReadFile(home.Folder() / "file"), "content");
    ExpectPrivate(home.Folder() / "file");
}

TEST(OwnerRights, OfAFolderThatIsThereStay)
{
    const TemporaryHome home;
    fs::create_directory(home.Folder() / "shared");
    OpenToEverybody(home.Folder() / "shared");
    EnsurePrivateFolder(home.Folder() / "shared/below");
    EXPECT_TRUE(IsOpenToEverybody(home.Folder() / "shared"));
    ExpectPrivate(home.Folder() / "shared/below");
}

class OwnedStore : public CardTest
{
};

TEST_F(OwnedStore, IsOpenToItsOwnerOnly)
{
    ASSERT_EQ(RunTool({"new", "fresh", "--puk", "1"}).exitCode, 0);
    Order("fresh", {"any", "--status", "1"});
    const CardSession session = InsertAndOpen("ref2");
    VerifyBok(session, wrongCode);
    Library().startTransaction(session);
    const std::vector<fs::path> made = {State() / "cards/fresh", State() / "cards/ref2/state.json",
                                        State() / "cards/.ref2.lock", State() / "cards/.ref2.transaction",
                                        State() / "readers"};
    for (const fs::path& path : made) {
        ExpectPrivate(path);
        if (fs::is_directory(path)) {
            for (const auto& entry : fs::recursive_directory_iterator(path)) {
                ExpectPrivate(entry.path());
            }
        }
    }
}

} // namespace
