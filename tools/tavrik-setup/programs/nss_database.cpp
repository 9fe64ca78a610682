#include "tools/tavrik-setup/programs/nss_database.h"

#include "tools/tavrik-setup/files/careful_file.h"
#include "tools/tavrik-setup/files/program_run.h"
#include "tools/tavrik-setup/files/refusal.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <system_error>
#include <utility>
#include <vector>

namespace setup {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds longestRun{60}; // the tools load the module
constexpr std::array databaseFiles{"cert9.db", "key4.db"};

bool HasWholeLine(const std::string& text, const std::string& line)
{
    const std::string framed = "\n" + text + "\n";
    return framed.find("\n" + line + "\n") != std::string::npos;
}

Piece PieceBetween(const std::string& before, const std::string& after)
{
    const auto end = std::mismatch(before.begin(), before.end(), after.begin(), after.end());
    const auto offset = static_cast<size_t>(end.first - before.begin());
    const size_t length = after.size() < before.size() ? 0 : after.size() - before.size();
    return {offset, after.substr(offset, length)};
}

std::string Content(const fs::path& file)
{
    return ReadIfThere(file).value_or("");
}

// Firefox marks the profile that it is at work with by a link whose target ends in its process id.
bool IsInUse(const fs::path& folder)
{
    std::error_code missing;
    const std::string target = fs::read_symlink(folder / "lock", missing).string();
    const size_t plus = target.rfind('+');
    int process = 0;
    if (plus != std::string::npos) {
        std::from_chars(target.data() + plus + 1, target.data() + target.size(), process);
    }
    return process > 0 && (kill(process, 0) == 0 || errno == EPERM);
}

} // namespace

NssDatabase::NssDatabase(fs::path itsFolder, const Place& place)
    : folder(std::move(itsFolder)), modutil(place.Command("modutil")), certutil(place.Command("certutil"))
{
}

bool NssDatabase::Exists() const
{
    std::error_code missing;
    return fs::exists(folder / databaseFiles.front(), missing);
}

std::string NssDatabase::ModuleList() const
{
    return Content(folder / nssModuleList);
}

bool NssDatabase::Names(const fs::path& module) const
{
    return HasWholeLine(ModuleList(), "library=" + module.string());
}

bool NssDatabase::HasName() const
{
    return HasWholeLine(ModuleList(), std::string("name=") + nssModuleName);
}

void NssDatabase::RequireUsable() const
{
    if (modutil.empty() || certutil.empty()) {
        throw Refusal("This takes modutil. Install libnss3-tools.");
    }
    if (IsInUse(folder)) {
        throw Refusal("A program is at work with it. End it first.");
    }
}

std::string NssDatabase::Commands(const fs::path& module, bool replaces) const
{
    const std::string database = " -dbdir sql:" + folder.string();
    std::string text;
    if (!Exists()) {
        text += "$ certutil -N -d sql:" + folder.string() + " --empty-password\n";
    }
    if (replaces && HasName()) {
        text += "$ modutil" + database + " -delete " + nssModuleName + "\n";
    }
    return text + "$ modutil" + database + " -add " + nssModuleName + " -libfile " + module.string() + "\n";
}

std::string NssDatabase::CommandsToRemove(const Entry& entry) const
{
    return IsAsMade(entry) ? "$ rm -r " + folder.string() + "\n"
                           : "$ modutil -dbdir sql:" + folder.string() + " -delete " + nssModuleName + "\n";
}

void NssDatabase::Run(const fs::path& tool, const std::vector<std::string>& arguments) const
{
    const ProgramResult result = RunProgram(tool, arguments, longestRun);
    if (!result.inTime) {
        throw Refusal(tool.filename().string() + " did not come to an end.");
    }
    if (result.exitCode != 0) {
        std::string output = result.output;
        output.erase(output.find_last_not_of('\n') + 1);
        throw Refusal(tool.filename().string() + " failed: " + output);
    }
}

void NssDatabase::Make() const
{
    Run(certutil, {"-N", "-d", "sql:" + folder.string(), "--empty-password"});
}

Entry NssDatabase::Add(const fs::path& module, const std::optional<Entry>& earlier) const
{
    Entry entry = earlier.value_or(Entry());
    entry.file = folder / nssModuleList;
    const bool isMade = !Exists();
    if (isMade) {
        entry.madeFolders = MakeFolders(folder, Readers::owner);
        Make();
        for (const char* file : databaseFiles) {
            entry.madeBeside[file] = DigestOf(Content(folder / file));
        }
    }
    const std::string original = ModuleList();
    try {
        AddTo(entry, module, earlier.has_value());
    } catch (const Refusal&) {
        if (isMade) {
            Delete(entry);
        } else if (ModuleList() != original) {
            ReplaceContent(entry.file, ModuleList(), original, Readers::owner);
        }
        throw;
    }
    return entry;
}

void NssDatabase::AddTo(Entry& entry, const fs::path& module, bool replaces) const
{
    const std::string database = "sql:" + folder.string();
    if (replaces && HasName()) {
        Run(modutil, {"-dbdir", database, "-delete", nssModuleName, "-force"});
    }
    const std::string before = ModuleList();
    Run(modutil, {"-dbdir", database, "-add", nssModuleName, "-libfile", module.string(), "-force"});
    const std::string after = ModuleList();
    entry.piece = PieceBetween(before, after);
    entry.digest = DigestOf(after);
}

bool NssDatabase::IsUnchanged(const Entry& entry) const
{
    return DigestOf(ModuleList()) == entry.digest;
}

bool NssDatabase::IsAsMade(const Entry& entry) const
{
    return !entry.madeBeside.empty() && IsUnchanged(entry) &&
           std::all_of(entry.madeBeside.begin(), entry.madeBeside.end(), [this](const auto& file) {
               return DigestOf(Content(folder / file.first)) == file.second;
           });
}

void NssDatabase::Delete(const Entry& entry) const
{
    for (const auto& file : entry.madeBeside) {
        RemoveFile(folder / file.first, Content(folder / file.first));
    }
    RemoveFile(entry.file, ModuleList());
    DeleteEmptyFolders(entry.madeFolders);
}

void NssDatabase::Remove(const Entry& entry) const
{
    if (IsAsMade(entry)) {
        Delete(entry);
    } else if (IsUnchanged(entry)) {
        const std::string now = ModuleList();
        std::string before = now;
        before.erase(entry.piece.offset, entry.piece.text.size());
        ReplaceContent(entry.file, now, before, Readers::owner);
    } else if (HasName()) {
        Run(modutil, {"-dbdir", "sql:" + folder.string(), "-delete", nssModuleName, "-force"});
    }
}

} // namespace setup
