#include "tools/tavrik-setup/programs/plan.h"

#include "softcard/base/text.h"
#include "tools/tavrik-setup/files/careful_file.h"
#include "tools/tavrik-setup/files/difference.h"
#include "tools/tavrik-setup/files/refusal.h"
#include "tools/tavrik-setup/programs/file_change.h"

#include <algorithm>
#include <utility>

namespace setup {
namespace {

namespace fs = std::filesystem;

constexpr const char* noHome = "There is no home folder that can be used.";
using Tool = std::shared_ptr<const ToolSetting>;

Readers ReadersAt(Level level)
{
    return level == Level::user ? Readers::owner : Readers::everybody;
}

bool NamesModule(const fs::path& file, const fs::path& module)
{
    const auto content = ReadIfThere(file);
    return content && content->find(softcard::Utf8Of(module.filename())) != std::string::npos;
}

bool IsSetIn(const FileSetting& setting, const fs::path& module)
{
    if (std::any_of(setting.instead.begin(), setting.instead.end(),
                    [&module](const fs::path& file) { return NamesModule(file, module); })) {
        return true;
    }
    const auto content = setting.file.empty() ? std::nullopt : ReadIfThere(setting.file);
    return content && setting.kind->IsIn(*content);
}

// Adds to the plan what is not done, if working out the rest of it refuses.
template <typename Work>
void Try(Plan& plan, const fs::path& file, const std::string& toAdd, const Work& work)
{
    try {
        work();
    } catch (const Refusal& refusal) {
        plan.left.push_back({file, refusal.what(), toAdd});
    }
}

} // namespace

Planner::Planner(Place itsPlace) : place(std::move(itsPlace)) {}

bool Planner::HasRecord(Level level) const
{
    return level == Level::system || !place.userRecord.empty();
}

Record Planner::RecordOf(Level level) const
{
    return {level == Level::user ? place.userRecord : place.systemRecord, ReadersAt(level)};
}

bool Planner::IsSet(const Setting& setting) const
{
    if (const auto* file = std::get_if<FileSetting>(&setting)) {
        return IsSetIn(*file, place.module);
    }
    const auto* tool = std::get_if<Tool>(&setting);
    return tool != nullptr && (*tool)->IsSet();
}

Use Planner::UseOf(const Program& program) const
{
    size_t set = 0;
    for (const Setting& setting : program.settings) {
        if (std::holds_alternative<ManualSetting>(setting)) {
            return Use::byHand;
        }
        try {
            set += IsSet(setting) ? 1U : 0U;
        } catch (const Refusal&) {
            return Use::unknown;
        }
    }
    if (set == 0) {
        return Use::no;
    }
    return set == program.settings.size() ? Use::yes : Use::partly;
}

Plan Planner::Setup(const Program& program) const
{
    Plan plan;
    if (!IsInstalled(program, place)) {
        plan.left.push_back({{}, program.title + " is not installed.", ""});
        return plan;
    }
    for (const Setting& setting : program.settings) {
        if (const auto* file = std::get_if<FileSetting>(&setting)) {
            Try(plan, file->file, file->kind->ByHand(), [&] { SetUpFile(program.name, *file, plan); });
        } else if (const auto* tool = std::get_if<Tool>(&setting)) {
            Try(plan, (*tool)->Place(), "", [&] { SetUpTool(program.name, **tool, plan); });
        } else {
            const auto& manual = std::get<ManualSetting>(setting);
            plan.left.push_back({{}, manual.reason, manual.toAdd});
        }
    }
    return plan;
}

void Planner::SetUpFile(const std::string& program, const FileSetting& setting, Plan& plan) const
{
    if (setting.file.empty()) {
        throw Refusal(noHome);
    }
    if (IsSetIn(setting, place.module)) {
        return;
    }
    const Record record = RecordOf(setting.level);
    const auto change = ChangeToSet(record, program, setting.file, *setting.kind);
    RequireWritable(setting.file);
    plan.steps.push_back(
        {change.before ? "change" : "make", setting.file,
         Difference(change.before.value_or(""), change.after.value_or("")),
         [record, change, readers = ReadersAt(setting.level)] { SetFile(record, change, readers); }});
}

void Planner::SetUpTool(const std::string& program, const ToolSetting& setting, Plan& plan) const
{
    if (setting.Place().empty()) {
        throw Refusal(noHome);
    }
    if (!setting.IsSet()) {
        setting.SetUp(program, RecordOf(Level::user), plan);
    }
}

Plan Planner::Undo(const Program& program) const
{
    Plan plan;
    for (const Setting& setting : program.settings) {
        if (const auto* file = std::get_if<FileSetting>(&setting)) {
            Try(plan, file->file, "", [&] { UndoFileSetting(program.name, *file, plan); });
        } else if (const auto* tool = std::get_if<Tool>(&setting);
                   tool != nullptr && HasRecord(Level::user)) {
            Try(plan, (*tool)->Place(), "",
                [&] { (*tool)->Undo(program.name, RecordOf(Level::user), plan); });
        }
    }
    return plan;
}

// The file may be another by now, of the same name: where a program reads the first that there is.
void Planner::UndoFileSetting(const std::string& program, const FileSetting& setting, Plan& plan) const
{
    bool isRecorded = false;
    if (HasRecord(setting.level)) {
        for (const Entry& entry : RecordOf(setting.level).Of(program)) {
            if (entry.file.filename() == setting.file.filename()) {
                isRecorded = true;
                Try(plan, entry.file, "", [&] { UndoFile(entry, setting, plan); });
            }
        }
    }
    if (!isRecorded && IsSetIn(setting, place.module)) {
        throw Refusal("It was not tavrik-setup that set this up.");
    }
}

void Planner::UndoFile(const Entry& entry, const FileSetting& setting, Plan& plan) const
{
    const Record record = RecordOf(setting.level);
    const FileChange change = ChangeToUndo(entry, *setting.kind);
    if (change.before != change.after) {
        RequireWritable(entry.file);
    }
    plan.steps.push_back({change.after ? "change" : "remove", entry.file,
                          Difference(change.before.value_or(""), change.after.value_or("")),
                          [record, change] { UndoChange(record, change); }});
}

} // namespace setup
