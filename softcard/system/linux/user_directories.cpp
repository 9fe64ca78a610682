#include "softcard/system/user_directories.h"

#include "softcard/base/store_error.h"
#include "softcard/system/environment.h"
#include "softcard/system/files.h"
#include "softcard/system/linux/user_home.h"

#include <array>
#include <cerrno>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace softcard {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view folderName = "tavrik";
constexpr std::string_view configBelowHome = ".config";
constexpr std::string_view stateBelowHome = ".local/state";
constexpr size_t accountRecordSize = 16384;
constexpr size_t longestAccountRecord = 1048576;
constexpr mode_t ofOthers = S_IRWXG | S_IRWXO;
constexpr mode_t writableByOthers = S_IWGRP | S_IWOTH;

struct stat Examine(const fs::path& path, bool& isThere)
{
    struct stat facts
    {
    };
    isThere = stat(path.c_str(), &facts) == 0;
    return facts;
}

bool HasFolders(const fs::path& home)
{
    const auto has = [&home](const auto& base) {
        std::error_code ignored;
        return fs::is_directory(home / base / folderName, ignored);
    };
    return has(configBelowHome) && has(stateBelowHome);
}

// What keeps the folder from being the home, as the end of a sentence; empty when nothing does.
std::string Obstacle(const fs::path& home)
{
    if (home.empty()) {
        return "not set";
    }
    const std::string quoted = "\"" + home.string() + "\", which ";
    if (!home.is_absolute()) {
        return quoted + "is not absolute";
    }
    bool isThere = false;
    const struct stat facts = Examine(home, isThere);
    if (!isThere) {
        return quoted + (errno == ENOENT ? "does not exist" : "cannot be reached");
    }
    if (!S_ISDIR(facts.st_mode)) {
        return quoted + "is no folder";
    }
    if (facts.st_uid != geteuid()) {
        return quoted + "belongs to another user";
    }
    if (faccessat(AT_FDCWD, home.c_str(), W_OK | X_OK, AT_EACCESS) != 0 && !HasFolders(home)) {
        return quoted + "cannot be written to";
    }
    return {};
}

// Of the user whose rights the program has; empty when there is none.
fs::path HomeOfAccount()
{
    passwd account{};
    passwd* found = nullptr;
    std::vector<char> buffer(accountRecordSize);
    while (getpwuid_r(geteuid(), &account, buffer.data(), buffer.size(), &found) == ERANGE &&
           buffer.size() < longestAccountRecord) {
        buffer.resize(buffer.size() * 2);
    }
    return found == nullptr ? fs::path() : fs::path(found->pw_dir);
}

// A relative path in these variables counts as if it were not there, as their users agree, and so does the
// folder of another user, who could put anything there.
fs::path FindBase(const char* variable, std::string_view below)
{
    fs::path base = PathFromEnvironment(variable);
    bool isThere = false;
    const bool isOwn = base.is_absolute() && (Examine(base, isThere).st_uid == geteuid() || !isThere);
    return isOwn ? base : UserHome() / below;
}

// Whether only this user and the system can put something into the folder.
bool IsPrivate(const fs::path& folder)
{
    struct stat facts
    {
    };
    return lstat(folder.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode) && facts.st_uid == geteuid() &&
           (facts.st_mode & ofOthers) == 0;
}

// Whether other users are unable to replace a folder that is in this one.
bool KeepsWhatIsInIt(const fs::path& folder)
{
    bool isThere = false;
    const struct stat facts = Examine(folder, isThere);
    return isThere && (facts.st_uid == 0 || facts.st_uid == geteuid()) &&
           ((facts.st_mode & writableByOthers) == 0 || (facts.st_mode & S_ISVTX) != 0);
}

std::optional<Directories> FoldersIn(const fs::path& parent, const std::string& name)
{
    const fs::path folder = parent / name;
    Directories directories{folder / "config", folder / "state"};
    try {
        if (!KeepsWhatIsInIt(parent)) {
            return std::nullopt;
        }
        EnsurePrivateFolder(folder);
        if (!IsPrivate(folder)) {
            return std::nullopt;
        }
        EnsurePrivateFolder(directories.config);
        EnsurePrivateFolder(directories.state);
        return directories;
    } catch (const std::system_error&) {
        return std::nullopt;
    }
}

} // namespace

fs::path UserHome()
{
    fs::path named = PathFromEnvironment("HOME");
    const std::string first = Obstacle(named);
    if (first.empty()) {
        return named;
    }
    fs::path ofAccount = HomeOfAccount();
    const std::string second = Obstacle(ofAccount);
    if (!second.empty()) {
        throw StoreTrouble("There is no folder for the cards. HOME is " + first +
                           "; the home of the user's account is " + second +
                           ". Set TAVRIK_HOME to a folder of your own.");
    }
    return ofAccount;
}

Directories UserDirectories()
{
    return {FindBase("XDG_CONFIG_HOME", configBelowHome) / folderName,
            FindBase("XDG_STATE_HOME", stateBelowHome) / folderName};
}

Directories LastResortDirectories()
{
    const std::string user = std::to_string(geteuid());
    if (auto session = FoldersIn("/run/user/" + user, std::string(folderName))) {
        return *session;
    }
    if (auto temporary = FoldersIn("/var/tmp", std::string(folderName) + "-" + user)) {
        return *temporary;
    }
    return {"/dev/null", "/dev/null"}; // no folder, and root alone could make it one
}

} // namespace softcard
