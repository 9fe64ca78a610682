// What a program needs to use the card.
#pragma once

#include "tools/tavrik-setup/programs/file_kind.h"
#include "tools/tavrik-setup/programs/place.h"

#include <filesystem>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include <sys/types.h>

namespace setup {

enum class Level
{
    user,
    system
};

// A change in a file.
struct FileSetting
{
    Level level;
    std::filesystem::path file; // empty for a user without a home
    mode_t mode;                // of a new file
    std::shared_ptr<const FileKind> kind;
    std::filesystem::path
        instead; // of a package, which makes the change needless where it names the module; may be empty
};

// The module in an NSS database of the user.
struct DatabaseSetting
{
    std::filesystem::path folder; // empty for a user without a home
    bool isMade;                  // when it is not there
};

// What only a person can do.
struct ManualSetting
{
    std::string reason;
    std::string toAdd;
};

using Setting = std::variant<FileSetting, DatabaseSetting, ManualSetting>;

struct Program
{
    std::string name; // as it is typed
    std::string title;
    std::vector<std::string> commands; // one of which is there where it is installed
    std::vector<std::string> files;    // the same
    std::vector<Setting> settings;
    std::string advice; // what to do once it is set up
};

// All that this program knows.
std::vector<Program> ListPrograms(const Place& place);

bool IsInstalled(const Program& program, const Place& place);

} // namespace setup
