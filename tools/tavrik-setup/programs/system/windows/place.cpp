#include "tools/tavrik-setup/programs/place.h"
#include "softcard/base/store_error.h"
#include "softcard/base/text.h"
#include "softcard/system/environment.h"
#include "softcard/system/user_directories.h"
#include "src/platform/platform.h"
#include "tools/tavrik-setup/files/careful_file.h"
#include "tools/tavrik-setup/files/refusal.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string>

#include <windows.h>

#include <shlobj.h>

namespace setup {
namespace {

namespace fs = std::filesystem;

constexpr const char* frontFile = "tavrik-pkcs11.dll";
constexpr const char* recordFile = "setup.json";
constexpr const wchar_t* systemRecord = L"HKEY_LOCAL_MACHINE\\Software\\Tavrik\\Setup";
constexpr std::array<const wchar_t*, 2> applicationPaths{
    L"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\App Paths",
    L"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\App Paths"};

// From the folder of this program: as installed, and as built.
constexpr std::array frontFolders{".", "../lib"};

struct FreeMemory
{
    void operator()(wchar_t* text) const { CoTaskMemFree(text); }
};

// Empty when the system knows none.
fs::path KnownFolder(const KNOWNFOLDERID& folder)
{
    wchar_t* found = nullptr;
    const bool isKnown = SUCCEEDED(SHGetKnownFolderPath(folder, 0, nullptr, &found));
    const std::unique_ptr<wchar_t, FreeMemory> owner(found);
    return isKnown ? fs::path(found) : fs::path();
}

fs::path FindModule()
{
    const fs::path own = Platform::ExecutablePath().parent_path();
    for (const char* folder : frontFolders) {
        fs::path candidate = (own / folder / frontFile).lexically_normal().make_preferred();
        if (IsThere(candidate)) {
            return candidate;
        }
    }
    throw Refusal(std::string(frontFile) + " does not lie beside this program, in " + softcard::Utf8Of(own) +
                  ". Install Tavrik again, or say with --module where it is.");
}

// Each kind of file quotes in its own way, and Java reads no others.
void RequirePlainPath(const fs::path& module)
{
    constexpr std::string_view plain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789\\:/._+-()~ ";
    const std::string path = softcard::Utf8Of(module);
    if (path.empty() || path.find_first_not_of(plain) != std::string::npos) {
        throw Refusal(path + " has characters that not every program reads. Put the front elsewhere.");
    }
}

void FindUserFolders(Place& place)
{
    try {
        const softcard::Directories own = softcard::UserDirectories();
        place.home = KnownFolder(FOLDERID_Profile);
        place.config = own.config;
        place.userRecord = own.state / recordFile;
    } catch (const softcard::StoreTrouble&) {
        place.home.clear(); // what concerns all users can be set up all the same
    }
}

// In the folders of PATH with a full path: nothing that is found there is run.
fs::path FindOnPath(const std::wstring& name)
{
    const std::wstring folders = softcard::PathFromEnvironment("PATH").native();
    size_t begin = 0;
    while (begin < folders.size()) {
        const size_t end = std::min(folders.find(L';', begin), folders.size());
        fs::path candidate = fs::path(folders.substr(begin, end - begin)) / name;
        if (candidate.is_absolute() && IsThere(candidate)) {
            return candidate;
        }
        begin = end + 1;
    }
    return {};
}

// As the installation of a program tells the shell of it. A value without a name is the key's own.
fs::path FindApplication(const std::wstring& name)
{
    for (const wchar_t* paths : applicationPaths) {
        try {
            std::string file = ReadIfThere(fs::path(paths) / name / "").value_or("");
            std::erase_if(file, [](char character) { return character == '"' || character == '\n'; });
            if (fs::path path = softcard::PathOf(file); path.is_absolute() && IsThere(path)) {
                return path;
            }
        } catch (const std::exception&) {
            continue; // what cannot be read leads to no program
        }
    }
    return {};
}

} // namespace

fs::path Place::System(std::string_view path) const
{
    const fs::path relative = softcard::PathOf(path);
    return relative.native().starts_with(L"HKEY_") ? relative : root / relative;
}

fs::path Place::Command(std::string_view name) const
{
    if (root.empty()) {
        return {};
    }
    const std::wstring file = softcard::PathOf(name).native() + L".exe";
    fs::path application = FindApplication(file);
    return application.empty() ? FindOnPath(file) : application;
}

Place FindPlace(const PlaceWishes& wishes)
{
    Place place;
    place.root = KnownFolder(FOLDERID_ProgramFiles);
    place.module = wishes.module.empty() ? FindModule()
                                         : fs::absolute(wishes.module).lexically_normal().make_preferred();
    place.systemRecord = systemRecord;
    RequirePlainPath(place.module);
    FindUserFolders(place);
    if (wishes.forAllUsers) { // beside the front, which they trust already
        place.level = Level::system;
        place.config = place.module.parent_path();
    }
    return place;
}

} // namespace setup
