// What is to be done for a program, worked out before anything is touched.
#pragma once

#include "tools/tavrik-setup/programs/record.h"
#include "tools/tavrik-setup/programs/setting.h"

#include <functional>
#include <string>
#include <vector>

namespace setup {

// One change. `perform` throws Refusal and then has changed nothing.
struct Step
{
    std::string action; // "make", "change" or "remove"
    std::filesystem::path file;
    std::string difference;
    std::function<void()> perform;
};

// What stays as it is although it is not as it should be.
struct Left
{
    std::filesystem::path file; // may be empty
    std::string reason;
    std::string toAdd; // by hand; may be empty
};

struct Plan
{
    std::vector<Step> steps;
    std::vector<Left> left;
};

// Whether the program uses the card.
enum class Use
{
    no,
    partly, // some of what it needs is there
    yes,
    byHand, // it cannot be told, as a person sets it up in files that only that person knows
    unknown // a file cannot be read
};

class Planner
{
public:
    explicit Planner(Place itsPlace);

    [[nodiscard]] Use UseOf(const Program& program) const;
    [[nodiscard]] Plan Setup(const Program& program) const;
    [[nodiscard]] Plan Undo(const Program& program) const;

private:
    // Which record a file's change stands in.
    [[nodiscard]] Record RecordOf(Level level) const;
    // Not for a user without a home.
    [[nodiscard]] bool HasRecord(Level level) const;

    void SetUpFile(const std::string& program, const FileSetting& setting, Plan& plan) const;
    void SetUpTool(const std::string& program, const ToolSetting& setting, Plan& plan) const;
    void UndoFileSetting(const std::string& program, const FileSetting& setting, Plan& plan) const;
    void UndoFile(const Entry& entry, const FileSetting& setting, Plan& plan) const;
    [[nodiscard]] bool IsSet(const Setting& setting) const;

    Place place;
};

} // namespace setup
