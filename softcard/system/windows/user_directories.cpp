#include "system/user_directories.h"

#include "system/environment.h"

#include <stdexcept>

namespace softcard {
namespace {

std::filesystem::path LocalAppData()
{
    std::filesystem::path local = PathFromEnvironment("LOCALAPPDATA");
    if (local.is_absolute()) {
        return local;
    }
    const std::filesystem::path profile = PathFromEnvironment("USERPROFILE");
    if (!profile.is_absolute()) {
        throw std::runtime_error("The user has no folder for the data of programs.");
    }
    return profile / "AppData" / "Local";
}

} // namespace

Directories UserDirectories()
{
    const std::filesystem::path folder = LocalAppData() / "Tavrik";
    return {folder / "config", folder / "state"};
}

} // namespace softcard
