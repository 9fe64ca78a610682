#include "system/user_directories.h"

#include "system/environment.h"

#include <cstdlib>
#include <stdexcept>
#include <string_view>
#include <vector>

#include <pwd.h>
#include <unistd.h>

namespace softcard {
namespace {

constexpr std::string_view folderName = "tavrik";
constexpr size_t accountRecordSize = 16384;

std::filesystem::path FindHome()
{
    std::filesystem::path home = PathFromEnvironment("HOME");
    if (home.is_absolute()) {
        return home;
    }
    passwd account{};
    passwd* found = nullptr;
    std::vector<char> buffer(accountRecordSize);
    if (getpwuid_r(getuid(), &account, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
        throw std::runtime_error("The user has no home folder.");
    }
    return found->pw_dir;
}

// A relative path in these variables counts as if it were not there, as their users agree.
std::filesystem::path FindBase(const char* variable, std::string_view below)
{
    std::filesystem::path base = PathFromEnvironment(variable);
    return base.is_absolute() ? base : FindHome() / below;
}

} // namespace

Directories UserDirectories()
{
    return {FindBase("XDG_CONFIG_HOME", ".config") / folderName,
            FindBase("XDG_STATE_HOME", ".local/state") / folderName};
}

} // namespace softcard
