#include "softcard/system/user_directories.h"

#include "softcard/base/store_error.h"
#include "softcard/system/environment.h"

#include "softcard/system/files.h"

#include <array>
#include <memory>
#include <stdexcept>
#include <system_error>

#include <windows.h>

#include <shlobj.h>

namespace softcard {
namespace {

struct FreeMemory
{
    void operator()(wchar_t* text) const { CoTaskMemFree(text); }
};

// As the system itself knows it; empty when it knows none.
std::filesystem::path LocalDataOfAccount()
{
    wchar_t* found = nullptr;
    const bool isKnown = SUCCEEDED(SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, &found));
    const std::unique_ptr<wchar_t, FreeMemory> owner(found);
    return isKnown ? std::filesystem::path(found) : std::filesystem::path();
}

std::filesystem::path LocalAppData()
{
    std::filesystem::path local = PathFromEnvironment("LOCALAPPDATA");
    if (local.is_absolute()) {
        return local;
    }
    const std::filesystem::path profile = PathFromEnvironment("USERPROFILE");
    if (profile.is_absolute()) {
        return profile / "AppData" / "Local";
    }
    std::filesystem::path ofAccount = LocalDataOfAccount();
    if (!ofAccount.is_absolute()) {
        throw StoreTrouble(
            "There is no folder for the cards: neither LOCALAPPDATA nor USERPROFILE names one. "
            "Set TAVRIK_HOME to a folder of your own.");
    }
    return ofAccount;
}

// No name may have this character, so that nothing can be made there.
std::filesystem::path Nowhere()
{
    std::array<wchar_t, MAX_PATH> folder{};
    const UINT length = GetSystemWindowsDirectoryW(folder.data(), static_cast<UINT>(folder.size()));
    return std::filesystem::path(length == 0 || length >= folder.size() ? L"C:\\Windows" : folder.data()) /
           "|";
}

} // namespace

Directories UserDirectories()
{
    const std::filesystem::path folder = LocalAppData() / "Tavrik";
    return {folder / "config", folder / "state"};
}

Directories LastResortDirectories()
{
    const std::filesystem::path account = LocalDataOfAccount();
    if (account.is_absolute()) {
        Directories directories{account / "Tavrik" / "config", account / "Tavrik" / "state"};
        try {
            EnsurePrivateFolder(directories.config);
            EnsurePrivateFolder(directories.state);
            return directories;
        } catch (const std::system_error&) {
            return {Nowhere(), Nowhere()};
        }
    }
    return {Nowhere(), Nowhere()};
}

} // namespace softcard
