#include "tools/tavrik-setup/programs/nss_setting.h"

#include "tools/tavrik-setup/files/refusal.h"
#include "tools/tavrik-setup/programs/plan.h"

#include <utility>

namespace setup {

NssSetting::NssSetting(std::filesystem::path itsFolder, const setup::Place& place)
    : folder(std::move(itsFolder)), module(place.module), database(folder, place)
{
}

bool NssSetting::IsSet() const
{
    return !folder.empty() && database.Names(module);
}

void NssSetting::SetUp(const std::string& program, const Record& record, Plan& plan) const
{
    database.RequireUsable();
    const auto entry = record.Find(program, File());
    if (!entry && database.HasName()) {
        throw Refusal("It has a module \"" + std::string(nssModuleName) +
                      "\" already, which is another one.");
    }
    plan.steps.push_back({database.Exists() ? "change" : "make", folder,
                          database.Commands(module, entry.has_value()),
                          [record, program, database = database, entry, module = module] {
                              Entry added = database.Add(module, entry);
                              added.program = program;
                              record.Put(added);
                          }});
}

void NssSetting::Undo(const std::string& program, const Record& record, Plan& plan) const
{
    const auto entry = record.Find(program, File());
    if (!entry) {
        if (IsSet()) {
            throw Refusal("It was not tavrik-setup that set this up.");
        }
        return;
    }
    database.RequireUsable();
    plan.steps.push_back({database.IsAsMade(*entry) ? "remove" : "change", folder,
                          database.CommandsToRemove(*entry), [record, database = database, entry] {
                              database.Remove(*entry);
                              record.Drop(entry->program, entry->file);
                          }});
}

} // namespace setup
