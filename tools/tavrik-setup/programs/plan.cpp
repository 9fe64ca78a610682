#include "tools/tavrik-setup/programs/plan.h"

#include "tools/tavrik-setup/files/careful_file.h"
#include "tools/tavrik-setup/files/difference.h"
#include "tools/tavrik-setup/files/refusal.h"
#include "tools/tavrik-setup/programs/file_change.h"
#include "tools/tavrik-setup/programs/nss_database.h"

#include <algorithm>
#include <utility>

namespace setup {
namespace {

namespace fs = std::filesystem;

constexpr mode_t privateFolder = 0700;
constexpr mode_t publicFolder = 0755;
constexpr const char* systemState = "/var/lib/tavrik";
constexpr const char* recordFile = "setup.json";
constexpr const char* noHome = "There is no home folder that can be used.";

mode_t FolderMode(Level level)
{
    return level == Level::user ? privateFolder : publicFolder;
}

bool NamesModule(const fs::path& file, const fs::path& module)
{
    const auto content = file.empty() ? std::nullopt : ReadIfThere(file);
    return content && content->find(module.filename().string()) != std::string::npos;
}

// The file that a change stands in.
fs::path FileOf(const DatabaseSetting& setting)
{
    return setting.folder / nssModuleList;
}

bool IsSetIn(const FileSetting& setting, const fs::path& module)
{
    if (NamesModule(setting.instead, module)) {
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

Record Planner::RecordOf(Level level) const
{
    return level == Level::user ? Record(place.state / recordFile, privateFolder)
                                : Record(place.System(systemState) / recordFile, publicFolder);
}

bool Planner::IsSet(const Setting& setting) const
{
    if (const auto* file = std::get_if<FileSetting>(&setting)) {
        return IsSetIn(*file, place.module);
    }
    const auto* database = std::get_if<DatabaseSetting>(&setting);
    return database != nullptr && !database->folder.empty() &&
           NssDatabase(database->folder, place).Names(place.module);
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
        } else if (const auto* database = std::get_if<DatabaseSetting>(&setting)) {
            Try(plan, database->folder, "", [&] { SetUpDatabase(program.name, *database, plan); });
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
    plan.steps.push_back({change.before ? "change" : "make", setting.file,
                          Difference(change.before.value_or(""), change.after.value_or("")),
                          [record, change, mode = setting.mode, folders = FolderMode(setting.level)] {
                              SetFile(record, change, mode, folders);
                          }});
}

void Planner::SetUpDatabase(const std::string& program, const DatabaseSetting& setting, Plan& plan) const
{
    if (setting.folder.empty()) {
        throw Refusal(noHome);
    }
    const NssDatabase database(setting.folder, place);
    if (database.Names(place.module)) {
        return;
    }
    database.RequireUsable();
    const Record record = RecordOf(Level::user);
    const auto entry = record.Find(program, FileOf(setting));
    if (!entry && database.HasName()) {
        throw Refusal("It has a module \"" + std::string(nssModuleName) +
                      "\" already, which is another one.");
    }
    plan.steps.push_back({database.Exists() ? "change" : "make", setting.folder,
                          database.Commands(place.module, entry.has_value()),
                          [record, program, database, entry, module = place.module] {
                              Entry added = database.Add(module, entry);
                              added.program = program;
                              record.Put(added);
                          }});
}

Plan Planner::Undo(const Program& program) const
{
    Plan plan;
    for (const Setting& setting : program.settings) {
        if (const auto* file = std::get_if<FileSetting>(&setting)) {
            Try(plan, file->file, "", [&] { UndoFileSetting(program.name, *file, plan); });
        } else if (const auto* database = std::get_if<DatabaseSetting>(&setting)) {
            Try(plan, database->folder, "", [&] {
                const auto entry = place.state.empty()
                                       ? std::nullopt
                                       : RecordOf(Level::user).Find(program.name, FileOf(*database));
                if (entry) {
                    UndoDatabase(*entry, *database, plan);
                } else if (IsSet(setting)) {
                    throw Refusal("It was not tavrik-setup that set this up.");
                }
            });
        }
    }
    return plan;
}

// The file may be another by now, of the same name: where a program reads the first that there is.
void Planner::UndoFileSetting(const std::string& program, const FileSetting& setting, Plan& plan) const
{
    bool isRecorded = false;
    if (setting.level == Level::system || !place.state.empty()) {
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

void Planner::UndoDatabase(const Entry& entry, const DatabaseSetting& setting, Plan& plan) const
{
    const NssDatabase database(setting.folder, place);
    database.RequireUsable();
    plan.steps.push_back({database.IsAsMade(entry) ? "remove" : "change", setting.folder,
                          database.CommandsToRemove(entry),
                          [record = RecordOf(Level::user), database, entry] {
                              database.Remove(entry);
                              record.Drop(entry.program, entry.file);
                          }});
}

} // namespace setup
