#include "softcard/system/user_directories.h"

#include "softcard/system/environment.h"

namespace softcard {

// TAVRIK_HOME is used as it is, without the checks of HOME.
Directories LocateDirectories()
{
    const std::filesystem::path home = PathFromEnvironment("TAVRIK_HOME");
    if (!home.empty()) {
        const std::filesystem::path absolute = std::filesystem::absolute(home);
        return {absolute / "config", absolute / "state"};
    }
    return UserDirectories();
}

} // namespace softcard
