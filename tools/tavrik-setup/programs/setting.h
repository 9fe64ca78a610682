// What a program needs to use the card.
#pragma once

#include "tools/tavrik-setup/programs/file_kind.h"
#include "tools/tavrik-setup/programs/place.h"

#include <filesystem>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace setup {

class Record;
struct Plan;

// A change in a file.
struct FileSetting
{
    Level level;
    std::filesystem::path file; // empty for a user without a home
    std::shared_ptr<const FileKind> kind;
    std::vector<std::filesystem::path>
        instead; // one of which makes the change needless where it names the module
};

// The module in what a tool of others keeps, such as a database. The functions throw Refusal.
class ToolSetting
{
public:
    ToolSetting() = default;
    virtual ~ToolSetting() = default;
    ToolSetting(const ToolSetting&) = delete;
    ToolSetting& operator=(const ToolSetting&) = delete;
    ToolSetting(ToolSetting&&) = delete;
    ToolSetting& operator=(ToolSetting&&) = delete;

    // What is changed, as a person knows it; empty for a user without a home.
    [[nodiscard]] virtual std::filesystem::path Place() const = 0;

    [[nodiscard]] virtual bool IsSet() const = 0;

    // Add to the plan what is to be done.
    virtual void SetUp(const std::string& program, const Record& record, Plan& plan) const = 0;
    virtual void Undo(const std::string& program, const Record& record, Plan& plan) const = 0;
};

// What only a person can do.
struct ManualSetting
{
    std::string reason;
    std::string toAdd;
};

using Setting = std::variant<FileSetting, std::shared_ptr<const ToolSetting>, ManualSetting>;

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
